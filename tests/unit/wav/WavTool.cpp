// wavtool tags <stage> <in.wav> <picture folder>
//     Prints the tags the decoder reads as name=value lines (UTF-8); each picture is written
//     to <picture folder>\picture<n>.bin and listed as "picture <n> <entry name> <size>".
// wavtool settags <stage> <file.wav> [name=value | @<picture type name>=<image file>]...
//     Writes those tags into the file through the decoder's "IDTags".
// Exit status 0 on success; 2 for bad arguments; 1 when a plug-in call fails.
#include "tags/AlbumArt.h"
#include "tags/IDTagSet.h"
#include "tests/unit/wav/WavPluginApi.h"

#include <shellapi.h>

#include <cstdio>
#include <cwchar>

namespace {

using namespace wm::test;

int Fail(const char* what) {
    std::fprintf(stderr, "wavtool: %s (win:%lu)\n", what, GetLastError());
    return 1;
}

int Tags(const wchar_t* stage, const wchar_t* in, const std::wstring& pictures) {
    DecoderApi api;
    DecodeOpenInfo info{};
    void* decoder =
        api.Load(reinterpret_cast<const char16_t*>(stage)) ? api.create(nullptr) : nullptr;
    if (!decoder || !api.OpenToConvert(decoder, in, info))
        return Fail("open failed");
    wm::IDTagSet tags;
    tags.Deserialize(info.tagData, info.tagSize);
    int status = 0;
    for (size_t i = 0, n = 0; i < tags.Count(); ++i) {
        const wm::IDTagEntry& e = tags.At(i);
        if (!wm::IsAlbumArtName(e.Name)) {
            std::printf("%s=%s\n", wm::Narrow(e.Name).c_str(), wm::Narrow(e.Value).c_str());
            continue;
        }
        std::printf("picture %zu %s %zu\n", ++n, wm::Narrow(e.Name).c_str(), e.Data.size());
        if (!WriteBytes(pictures + L"\\picture" + std::to_wstring(n) + L".bin", e.Data))
            status = Fail("cannot write a picture");
    }
    ConversionInfo conversion{};
    api.close(decoder, &conversion);
    api.destroy(decoder);
    return status;
}

int SetTags(const wchar_t* stage, const wchar_t* path, wchar_t** args, int count) {
    wm::IDTagSet tags;
    int pictures = 0;
    for (int i = 0; i < count; ++i) {
        const wm::String arg = reinterpret_cast<const char16_t*>(args[i]);
        const size_t eq = arg.find(u'=');
        if (eq == wm::String::npos || eq == 0)
            return 2;
        if (arg[0] != u'@') {
            tags.Add(arg.substr(0, eq), arg.substr(eq + 1));
            continue;
        }
        const Bytes bytes = ReadBytes(args[i] + eq + 1);
        if (bytes.empty())
            return Fail("cannot read a picture");
        tags.AddData(wm::MakeAlbumArtName(++pictures, arg.substr(1, eq - 1), u""), bytes.data(),
                     bytes.size());
    }
    DecoderApi api;
    void* decoder =
        api.Load(reinterpret_cast<const char16_t*>(stage)) ? api.create(nullptr) : nullptr;
    const uint32_t ok = decoder ? api.SetIdTags(decoder, path, tags.Serialize()) : 0;
    if (decoder)
        api.destroy(decoder);
    return ok ? 0 : Fail("Set IDTags failed");
}

} // namespace

int main() {
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    if (argc == 5 && std::wcscmp(argv[1], L"tags") == 0)
        return Tags(argv[2], argv[3], argv[4]);
    if (argc >= 4 && std::wcscmp(argv[1], L"settags") == 0)
        return SetTags(argv[2], argv[3], argv + 4, argc - 4);
    std::fprintf(stderr,
                 "usage: wavtool tags <stage> <in.wav> <picture folder>\n"
                 "       wavtool settags <stage> <file.wav> [name=value | @type=image]...\n");
    return 2;
}
