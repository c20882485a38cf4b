// wavtool decode <stage> <in.wav> <out.raw>
//     Decodes through decoder\WavDecoder.dll; prints the format and the totals.
// wavtool encode <stage> <in.raw> <out.wav> <rate> <channels> <bits> <pcm|float>
//     Encodes raw samples through encoder\Wave.dll, in pieces of uneven sizes.
// Exit status 0 on success; 2 for bad arguments; 1 when a plug-in call fails.
#include "tests/unit/wav/WavPluginApi.h"

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

const WmChar* U(const wchar_t* s) {
    return reinterpret_cast<const WmChar*>(s);
}

int Decode(const std::wstring& stage, const wchar_t* in, const wchar_t* out) {
    DecoderApi api;
    if (!api.Load(stage))
        return Fail("cannot load the decoder");
    void* decoder = api.create(nullptr);
    DecodeOpenInfo info{};
    info.path = U(in);
    info.openMode = WM_OPEN_CONVERT;
    if (!decoder || !api.open(decoder, &info))
        return Fail("open failed");
    HANDLE file = CreateFileW(out, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return Fail("cannot create the output");
    uint64_t total = 0;
    unsigned blocks = 0;
    for (;;) {
        AudioBlockInfo block{};
        if (!api.decodeBlock(decoder, &block))
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
    ConversionInfo conversion{};
    api.close(decoder, &conversion);
    api.destroy(decoder);
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
    if (!api.end(encoder, &conversion, &tagAfterwards) || tagAfterwards != 0)
        return Fail("ENC_EndConversion failed");
    api.destroy(encoder);
    return 0;
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
    std::fprintf(stderr, "usage: wavtool decode <stage> <in.wav> <out.raw>\n"
                         "       wavtool encode <stage> <in.raw> <out.wav> <rate> <channels> "
                         "<bits> <pcm|float>\n");
    return 2;
}
