#include "tests/unit/dsp/DspDriver.h"
#include "tests/unit/wav/WavPluginApi.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <vector>

namespace wm::test {

namespace {

struct Encoding {
    const wchar_t* name;
    uint16_t tag;
    uint16_t bits;
};
constexpr Encoding kEncodings[] = {{L"u8", 1, 8},   {L"s16", 1, 16}, {L"s24", 1, 24},
                                   {L"s32", 1, 32}, {L"f32", 3, 32}, {L"f64", 3, 64}};
constexpr uint8_t kSubFormatTail[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                        0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

std::wstring Wide(const char* text) {
    return std::wstring(text, text + std::strlen(text));
}

class Handle {
  public:
    explicit Handle(HANDLE h) : h_(h) {}
    ~Handle() {
        if (h_ != INVALID_HANDLE_VALUE)
            CloseHandle(h_);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    HANDLE get() const { return h_; }
    bool ok() const { return h_ != INVALID_HANDLE_VALUE; }

  private:
    HANDLE h_;
};

bool WriteAll(HANDLE file, const void* data, size_t length) {
    DWORD written = 0;
    return length == 0 ||
           (WriteFile(file, data, DWORD(length), &written, nullptr) && written == length);
}

size_t ReadUpTo(HANDLE file, void* data, size_t length) {
    DWORD got = 0;
    return ReadFile(file, data, DWORD(length), &got, nullptr) ? got : 0;
}

} // namespace

bool ParseFormat(const std::wstring& text, WmWaveFormat& format) {
    std::wstring fields[4];
    size_t count = 0, from = 0;
    for (; count < 4 && from <= text.size(); ++count) {
        const size_t colon = std::min(text.find(L':', from), text.size());
        fields[count] = text.substr(from, colon - from);
        from = colon + 1;
    }
    const unsigned long rate = std::wcstoul(fields[0].c_str(), nullptr, 10);
    const unsigned long channels = std::wcstoul(fields[1].c_str(), nullptr, 10);
    const bool extensible = count == 4 && fields[3] == L"ext";
    if (from <= text.size() || count < 3 || (count == 4 && !extensible) || rate == 0 ||
        channels == 0 || channels > 32)
        return false;
    for (const Encoding& e : kEncodings) {
        if (fields[2] != e.name)
            continue;
        format = {};
        format.formatTag = e.tag;
        format.channels = uint16_t(channels);
        format.samplesPerSec = uint32_t(rate);
        format.bitsPerSample = e.bits;
        format.blockAlign = uint16_t(channels * e.bits / 8);
        format.avgBytesPerSec = format.samplesPerSec * format.blockAlign;
        if (extensible) {
            format.formatTag = WM_FORMAT_EXTENSIBLE;
            format.cbSize = 22;
            format.validBitsPerSample = e.bits;
            format.subFormat[0] = uint8_t(e.tag);
            std::memcpy(format.subFormat + 2, kSubFormatTail, 14);
        }
        return true;
    }
    return false;
}

std::string FormatText(const WmWaveFormat& format) {
    const bool extensible = format.formatTag == WM_FORMAT_EXTENSIBLE && format.cbSize >= 22;
    const unsigned tag = extensible ? format.subFormat[0] : format.formatTag;
    for (const Encoding& e : kEncodings) {
        if (e.tag != tag || e.bits != format.bitsPerSample)
            continue;
        char text[64];
        std::snprintf(text, sizeof text, "%u:%u:%ls%s", unsigned(format.samplesPerSec),
                      unsigned(format.channels), e.name, extensible ? ":ext" : "");
        return text;
    }
    return "unknown";
}

DspDriver::~DspDriver() {
    if (instance_)
        api_.destroy(instance_);
    if (module_)
        FreeLibrary(module_);
}

bool DspDriver::Load(const std::wstring& program, const std::wstring& name) {
    name_ = name;
    // Windows looks for the DLLs an effect imports in the program's folder; the program here is
    // the driver, so name the folder the effects ship beside.
    SetDllDirectoryW(program.c_str());
    const std::wstring path = program + L"\\DSPs\\" + name + L".dll";
    module_ = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!module_)
        return Fail(L"cannot load " + path + L" (win:" + std::to_wstring(GetLastError()) + L")");
    const bool all = BindAll(module_, api_);
    if (!all)
        return Fail(path + L" lacks a DSP entry point");
    instance_ = api_.create(nullptr);
    return instance_ ? true : Fail(L"DSP_Create returned no instance");
}

bool DspDriver::Run(const std::wstring& settings, const std::wstring& in, const std::wstring& out,
                    WmWaveFormat& format) {
    PluginValue value{};
    value.pointer1 = const_cast<wchar_t*>(settings.c_str());
    const bool live = api_.get(instance_, WM_VALUE_IS_LIVE, &value) != 0;
    ConversionInfo conversion{};
    conversion.inputPath = U(in);
    conversion.outputPath = U(out);
    conversion.commandLine = u"";
    conversion.sourceFormat = &format;
    const bool ran = live ? RunLive(conversion, settings, in, out, format)
                          : RunNonLive(settings, in, out, format);
    if (!ran)
        return false;
    ConversionInfo after = conversion;
    return api_.afterConversion(instance_, &after) ? true : Failed("DSP_AfterConversion");
}

bool DspDriver::RunLive(ConversionInfo& conversion, const std::wstring& settings,
                        const std::wstring& in, const std::wstring& out, WmWaveFormat& format) {
    if (!api_.beginConversion(instance_, &conversion, U(settings)))
        return Failed("DSP_BeginConversion");
    // A live effect writes a new file, so the input may be the output of a previous effect.
    const std::wstring temporary = out + L".live.tmp";
    bool fed = false;
    {
        Handle source(CreateFileW(in.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
        Handle target(CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!source.ok() || !target.ok())
            return Fail(L"cannot open " + in + L" or create " + temporary);
        fed = Feed(source.get(), target.get(), format);
    }
    const bool ended = api_.endConversion(instance_, &conversion) != 0;
    if (!fed || !ended) {
        DeleteFileW(temporary.c_str());
        return fed ? Failed("DSP_EndConversion") : false;
    }
    if (!MoveFileExW(temporary.c_str(), out.c_str(), MOVEFILE_REPLACE_EXISTING))
        return Fail(L"cannot move " + temporary + L" onto " + out);
    return true;
}

// Blocks of the configured length in the current format, the last one flagged; each is passed
// and the block as the effect left it is appended to `out`.
bool DspDriver::Feed(HANDLE in, HANDLE out, WmWaveFormat& format) {
    LARGE_INTEGER size{};
    GetFileSizeEx(in, &size);
    const WmWaveFormat inFormat = format;
    const size_t frame = inFormat.blockAlign;
    const size_t chunk =
        std::max<size_t>(1, size_t(inFormat.avgBytesPerSec) * options_.blockMs / 1000 / frame) *
        frame;
    std::vector<uint8_t> buffer(chunk);
    uint64_t done = 0;
    const uint64_t total = uint64_t(size.QuadPart);
    do {
        const size_t got = ReadUpTo(in, buffer.data(), chunk);
        if (got % frame != 0 || (got == 0 && done < total))
            return Fail(L"the raw input is not a whole number of frames");
        AudioBlockInfo block{};
        block.data = buffer.data();
        block.length = uint32_t(got);
        block.format = inFormat;
        block.bitRate = inFormat.avgBytesPerSec * 8;
        block.msDuration = uint64_t(got) * 1000 / inFormat.avgBytesPerSec;
        block.msPosition = done * 1000 / inFormat.avgBytesPerSec;
        done += got;
        block.endOfStream = done == total && !options_.emptyLastBlock;
        if (!PassOne(block, out, format))
            return false;
    } while (done < total);
    if (!options_.emptyLastBlock)
        return true;
    AudioBlockInfo last{}; // format and all left zero
    last.endOfStream = 1;
    return PassOne(last, out, format);
}

bool DspDriver::PassOne(AudioBlockInfo& block, HANDLE out, WmWaveFormat& format) {
    if (!api_.passAudioBlock(instance_, &block))
        return Failed("DSP_PassAudioBlock");
    if (block.length == 0)
        return true;
    if (!block.data || block.format.blockAlign == 0 || block.length % block.format.blockAlign)
        return Fail(L"DSP_PassAudioBlock handed back a block that is not whole frames");
    format = block.format;
    return WriteAll(out, block.data, block.length) ? true : Fail(L"cannot write the output");
}

bool DspDriver::RunNonLive(const std::wstring& settings, const std::wstring& in,
                           const std::wstring& out, const WmWaveFormat& format) {
    // The host hands a non-live effect the rendered file to rewrite in place.
    if (in != out && !CopyFileW(in.c_str(), out.c_str(), FALSE))
        return Fail(L"cannot copy " + in + L" to " + out);
    if (!api_.passNonLive(instance_, U(out), &format, U(settings), nullptr))
        return Failed("DSP_PassNonLive");
    return true;
}

bool DspDriver::Failed(const char* entryPoint) {
    PluginValue value{};
    std::wstring why = name_ + L": " + Wide(entryPoint) + L" failed";
    if (api_.get(instance_, WM_VALUE_LAST_ERROR, &value) && value.pointer1)
        why += L": " + std::wstring(static_cast<const wchar_t*>(value.pointer1));
    else
        why += L" and gave no reason";
    return Fail(why);
}

bool DspDriver::Fail(const std::wstring& why) {
    error_ = why;
    return false;
}

} // namespace wm::test
