// wavtool decode <stage> <in.wav> <out.raw>
//     Decodes through decoder\WavDecoder.dll; prints the format and the totals.
// wavtool encode <stage> <in.raw> <out.wav> <rate> <channels> <bits> <pcm|float>
//     Encodes raw samples through encoder\Wave.dll, in pieces of uneven sizes.
// wavtool tags <stage> <in.wav> <picture folder>
//     Prints the tags the decoder reads as name=value lines (UTF-8); each picture is written
//     to <picture folder>\picture<n>.bin and listed as "picture <n> <entry name> <size>".
// wavtool settags <stage> <file.wav> [name=value | @<picture type name>=<image file>]...
//     Writes those tags into the file through the decoder's "IDTags".
// Exit status 0 on success; 2 for bad arguments; 1 when a plug-in call fails.
#include "tags/AlbumArt.h"
#include "tags/IDTagSet.h"
#include "tests/unit/wav/WavPluginApi.h"
#include "tests/unit/wav/WavTestFiles.h"

#include <shellapi.h>

#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

namespace {

using namespace wm::test;

int Fail(const char* what) {
    std::fprintf(stderr, "wavtool: %s (win:%lu)\n", what, GetLastError());
    return 1;
}

// The decoder with one instance that has a file open for conversion.
struct OpenDecoder {
    DecoderApi api;
    void* instance = nullptr;
    DecodeOpenInfo info{};

    // 0, or the exit status once it has said what failed.
    int Open(const std::wstring& stage, const wchar_t* in) {
        if (!api.Load(stage))
            return Fail("cannot load the decoder");
        instance = api.create(nullptr);
        if (!instance || !api.OpenToConvert(instance, in, info))
            return Fail("open failed");
        return 0;
    }
    void Close() {
        api.CloseFile(instance);
        api.destroy(instance);
    }
};

int Decode(const std::wstring& stage, const wchar_t* in, const wchar_t* out) {
    OpenDecoder decoder;
    if (const int status = decoder.Open(stage, in))
        return status;
    const DecodeOpenInfo& info = decoder.info;
    HANDLE file = CreateFileW(out, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return Fail("cannot create the output");
    uint64_t total = 0;
    unsigned blocks = 0;
    for (;;) {
        AudioBlockInfo block{};
        if (!decoder.api.decodeBlock(decoder.instance, &block))
            return Fail("DecodeBlock failed");
        DWORD put = 0;
        if (block.length &&
            (!WriteFile(file, block.data, block.length, &put, nullptr) || put != block.length))
            return Fail("write failed");
        total += block.length;
        ++blocks;
        if (block.endOfStream)
            break;
    }
    CloseHandle(file);
    decoder.Close();
    const bool isFloat =
        info.format.formatTag == WM_FORMAT_IEEE_FLOAT ||
        (info.format.formatTag == WM_FORMAT_EXTENSIBLE && info.format.subFormat[0] == 3);
    std::printf("rate=%u channels=%u bits=%u kind=%s bytes=%llu ms=%llu blocks=%u\n",
                info.format.samplesPerSec, info.format.channels, info.format.bitsPerSample,
                isFloat ? "float" : "pcm", static_cast<unsigned long long>(total),
                static_cast<unsigned long long>(info.msLength), blocks);
    return total == info.byteLength ? 0 : Fail("byte count differs from the announced length");
}

int Encode(const std::wstring& stage, const wchar_t* in, const wchar_t* out, unsigned rate,
           unsigned channels, unsigned bits, bool isFloat) {
    EncoderApi api;
    if (!api.Load(stage))
        return Fail("cannot load the encoder");
    void* encoder = api.create(nullptr);
    WmWaveFormat format{};
    format.formatTag = isFloat ? WM_FORMAT_IEEE_FLOAT : WM_FORMAT_PCM;
    format.channels = static_cast<uint16_t>(channels);
    format.samplesPerSec = rate;
    format.bitsPerSample = static_cast<uint16_t>(bits);
    format.blockAlign = static_cast<uint16_t>(channels * bits / 8);
    format.avgBytesPerSec = rate * format.blockAlign;
    ConversionInfo conversion{};
    conversion.inputPath = U(in);
    conversion.outputPath = U(out);
    conversion.commandLine = u"";
    conversion.sourceFormat = &format;
    if (!encoder || !api.begin(encoder, &conversion))
        return Fail("ENC_BeginConversion failed");
    HANDLE file =
        CreateFileW(in, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return Fail("cannot open the input");
    // Piece sizes that split frames and straddle the encoder's buffer.
    const DWORD pieces[] = {1, 4093, 700001, 65536, 3};
    std::vector<char> buffer(700001);
    for (size_t i = 0;; ++i) {
        DWORD got = 0;
        if (!ReadFile(file, buffer.data(), pieces[i % std::size(pieces)], &got, nullptr))
            return Fail("read failed");
        if (got == 0)
            break;
        AudioBlockInfo block{};
        block.data = buffer.data();
        block.length = got;
        block.format = format;
        if (!api.encodeBlock(encoder, &block))
            return Fail("ENC_EncodeBlock failed");
    }
    CloseHandle(file);
    uint32_t tagAfterwards = 7;
    if (!api.end(encoder, &conversion, &tagAfterwards) || tagAfterwards != 1)
        return Fail("ENC_EndConversion failed");
    api.destroy(encoder);
    return 0;
}

wm::String Wide(const wchar_t* s) {
    return reinterpret_cast<const char16_t*>(s);
}

int Tags(const std::wstring& stage, const wchar_t* in, const std::wstring& pictures) {
    OpenDecoder decoder;
    if (const int status = decoder.Open(stage, in))
        return status;
    wm::IDTagSet tags;
    if (decoder.info.tagData)
        tags.Deserialize(decoder.info.tagData, decoder.info.tagSize);
    for (size_t i = 0, n = 0; i < tags.Count(); ++i) {
        const wm::IDTagEntry& e = tags.At(i);
        if (!wm::IsAlbumArtName(e.Name)) {
            std::printf("%s=%s\n", wm::Narrow(e.Name).c_str(), wm::Narrow(e.Value).c_str());
            continue;
        }
        ++n;
        std::printf("picture %zu %s %zu\n", n, wm::Narrow(e.Name).c_str(), e.Data.size());
        if (!WriteBytes(pictures + L"\\picture" + std::to_wstring(n) + L".bin", e.Data))
            return Fail("cannot write a picture");
    }
    decoder.Close();
    return 0;
}

int SetTags(const std::wstring& stage, const wchar_t* path, wchar_t** args, int count) {
    wm::IDTagSet tags;
    int pictures = 0;
    for (int i = 0; i < count; ++i) {
        const wm::String arg = Wide(args[i]);
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
    if (!api.Load(stage))
        return Fail("cannot load the decoder");
    void* decoder = api.create(nullptr);
    const uint32_t ok = decoder ? api.SetIdTags(decoder, path, tags.Serialize()) : 0;
    if (decoder)
        api.destroy(decoder);
    return ok ? 0 : Fail("Set IDTags failed");
}

} // namespace

int main() {
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    if (argc == 5 && std::wcscmp(argv[1], L"decode") == 0)
        return Decode(argv[2], argv[3], argv[4]);
    if (argc == 9 && std::wcscmp(argv[1], L"encode") == 0)
        return Encode(argv[2], argv[3], argv[4], std::wcstoul(argv[5], nullptr, 10),
                      std::wcstoul(argv[6], nullptr, 10), std::wcstoul(argv[7], nullptr, 10),
                      std::wcscmp(argv[8], L"float") == 0);
    if (argc == 5 && std::wcscmp(argv[1], L"tags") == 0)
        return Tags(argv[2], argv[3], argv[4]);
    if (argc >= 4 && std::wcscmp(argv[1], L"settags") == 0)
        return SetTags(argv[2], argv[3], argv + 4, argc - 4);
    std::fprintf(stderr,
                 "usage: wavtool decode <stage> <in.wav> <out.raw>\n"
                 "       wavtool encode <stage> <in.raw> <out.wav> <rate> <channels> "
                 "<bits> <pcm|float>\n"
                 "       wavtool tags <stage> <in.wav> <picture folder>\n"
                 "       wavtool settags <stage> <file.wav> [name=value | @type=image]...\n");
    return 2;
}
