// An encoder that breaks one rule on purpose (a BREAK_... definition); without one it keeps
// every rule: it writes the PCM it receives as a WAV file whose sizes it fills in at the end
// (so it answers "Lossless"), and refuses every option but the ones the host passes to every
// encoder.
#include "sdk/wavemill_plugin.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr DWORD kHeaderSize = 44;

struct Encoder {
    HANDLE file = INVALID_HANDLE_VALUE;
    bool begun = false;
    WmWaveFormat format{};
    uint32_t dataBytes = 0;
    const char16_t* lastError = nullptr;
    std::u16string reported; // tag block handed back as the second block
    bool peakAsked = false;  // "DecodedPeak": the largest 16-bit sample written, as it reads back
    int peak16 = 0;
};

void Put32(uint8_t* p, uint32_t v) {
    std::memcpy(p, &v, 4);
}

// The format's 16-byte header record: integer PCM or float, by what the samples are.
WmWaveFormat PlainFormat(const WmWaveFormat& f) {
    const bool isFloat =
        f.formatTag == WM_FORMAT_IEEE_FLOAT ||
        (f.formatTag == WM_FORMAT_EXTENSIBLE && f.subFormat[0] == WM_FORMAT_IEEE_FLOAT);
    WmWaveFormat plain = f;
    plain.formatTag = isFloat ? WM_FORMAT_IEEE_FLOAT : WM_FORMAT_PCM;
#ifdef BREAK_HARDCODED_44K
    plain.samplesPerSec = 44100; // the rate the encoder was written for
    plain.avgBytesPerSec = 44100 * f.blockAlign;
#endif
    return plain;
}

// A plain header; data and RIFF sizes as given.
void WaveHeader(uint8_t* h, const WmWaveFormat& f, uint32_t dataBytes) {
    std::memcpy(h, "RIFF", 4);
    Put32(h + 4, 36 + dataBytes);
    std::memcpy(h + 8, "WAVEfmt ", 8);
    Put32(h + 16, 16);
    const WmWaveFormat plain = PlainFormat(f);
    std::memcpy(h + 20, &plain, 16);
    std::memcpy(h + 36, "data", 4);
    Put32(h + 40, dataBytes);
}

// The largest magnitude among 16-bit samples; other formats are not asked about.
void TrackPeak(Encoder* e, const AudioBlockInfo* block) {
    if (!e->peakAsked || e->format.bitsPerSample != 16)
        return;
    const auto* samples = static_cast<const uint8_t*>(block->data);
    for (uint32_t at = 0; at + 2 <= block->length; at += 2) {
        int16_t v;
        std::memcpy(&v, samples + at, 2);
        e->peak16 = std::max(e->peak16, v < 0 ? -int(v) : int(v));
    }
}

// The peak in full-scale units, as "DecodedPeak" answers it.
double PeakOf(const Encoder* e) {
#ifdef BREAK_DECODED_PEAK
    return e->peak16 / 65536.0; // the 16-bit range taken for unsigned: 6 dB too low
#else
    return e->peak16 / 32768.0;
#endif
}

bool WriteAll(HANDLE file, const void* data, DWORD size) {
    DWORD written = 0;
    return WriteFile(file, data, size, &written, nullptr) && written == size;
}

// The first option of " -name" or " -name=\"value\"" that is not the host's; empty when none.
std::u16string_view UnknownOption(const WmChar* commandLine) {
    const std::u16string_view line = commandLine ? commandLine : u"";
    size_t from = 0;
    for (size_t at = line.find(u" -"); at != line.npos; at = line.find(u" -", from)) {
        const size_t end = line.find_first_of(u"= ", at + 2);
        const std::u16string_view name = line.substr(at + 2, end == line.npos ? end : end - at - 2);
#ifdef BREAK_HOST_OPTIONS
        return name; // every option taken for the encoder's own
#endif
        if (name != u"sourceisfloat" && name != u"help" && name != u"level" &&
            !name.starts_with(u"dspeffect"))
            return name;
        from = at + 2;
        if (end != line.npos && line.substr(end, 2) == u"=\"") {
            const size_t closing = line.find(u'"', end + 2);
            if (closing == line.npos)
                break;
            from = closing + 1;
        }
    }
    return {};
}

// The one option of its own, -level=<digit>, absent or well formed; the host hands it on as
// ` -level="5"`.
bool LevelIsValid(const WmChar* commandLine) {
    const std::u16string_view line = commandLine ? commandLine : u"";
    const size_t at = line.find(u" -level=");
    if (at == line.npos)
        return true;
    std::u16string_view value = line.substr(at + 8);
#ifndef BREAK_TYPED_OPTIONS
    if (value.starts_with(u'"'))
        value.remove_prefix(1);
#endif
    return !value.empty() && value[0] >= u'0' && value[0] <= u'9';
}

#ifdef BREAK_GLOBAL_PENDING
// Audio gathered in one buffer for every instance and written out in large pieces.
std::string g_pending;

bool FlushPending(HANDLE file) {
    const bool written = WriteAll(file, g_pending.data(), static_cast<DWORD>(g_pending.size()));
    g_pending.clear();
    return written;
}
#endif

} // namespace

WM_PLUGIN_EXPORT void* ENC_Create(void*) {
    return new Encoder;
}

WM_PLUGIN_EXPORT void ENC_Destroy(void* instance) {
    delete static_cast<Encoder*>(instance);
}

WM_PLUGIN_EXPORT uint32_t ENC_Get(void* instance, const WmChar* name, PluginValue* value) {
    const std::u16string_view asked(name);
#ifdef BREAK_ANSWERS_ALL
    return 1; // "yes" to everything, the raw take-over included
#endif
#ifdef BREAK_COMMUNICATE_FOREVER
    if (asked == WM_VALUE_COMMUNICATE)
        return 1;
#endif
    if (asked == WM_VALUE_LAST_ERROR) {
        value->pointer1 = const_cast<char16_t*>(static_cast<Encoder*>(instance)->lastError);
        return value->pointer1 != nullptr;
    }
    if (asked == WM_VALUE_LOSSLESS)
        return 1;
    if (asked == WM_VALUE_DECODED_PEAK) {
        const auto* e = static_cast<Encoder*>(instance);
        if (!e->peakAsked || e->format.bitsPerSample != 16 || !value->pointer1)
            return 0;
        *static_cast<double*>(value->pointer1) = PeakOf(e);
        return 1;
    }
    if (asked != WM_VALUE_EXTENSION)
        return 0;
#ifdef BREAK_EXTENSION
    value->pointer1 = const_cast<char16_t*>(u"wav");
#else
    value->pointer1 = const_cast<char16_t*>(u".wav");
#endif
    return 1;
}

WM_PLUGIN_EXPORT uint32_t ENC_Set(void* instance, const WmChar* name, PluginValue* value) {
    if (std::u16string_view(name) != WM_VALUE_DECODED_PEAK || !value)
        return 0;
    static_cast<Encoder*>(instance)->peakAsked = value->value1 != 0;
    return 1;
}

WM_PLUGIN_EXPORT uint32_t ENC_ShowConfigBit(void*, void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_RemoveConfigBit(void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_BeginConversion(void* instance, ConversionInfo* conversion) {
    auto* e = static_cast<Encoder*>(instance);
    bool refuseUnknown = true;
#ifdef BREAK_IGNORES_OPTIONS
    refuseUnknown = false;
#endif
    if (refuseUnknown && !UnknownOption(conversion->commandLine).empty()) {
        e->lastError = u"unknown option";
        return 0;
    }
    if (!LevelIsValid(conversion->commandLine)) {
        e->lastError = u"-level needs a digit";
        return 0;
    }
    e->format = *conversion->sourceFormat;
    e->dataBytes = 0;
    e->peak16 = 0;
    e->file = CreateFileW(reinterpret_cast<const wchar_t*>(conversion->outputPath), GENERIC_WRITE,
                          FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr);
    uint8_t header[kHeaderSize];
    WaveHeader(header, e->format, 0);
    e->begun = e->file != INVALID_HANDLE_VALUE && WriteAll(e->file, header, kHeaderSize);
#ifdef BREAK_ELSEWHERE
    const std::u16string beside = std::u16string(conversion->outputPath) + u".log";
    CloseHandle(CreateFileW(reinterpret_cast<const wchar_t*>(beside.c_str()), GENERIC_WRITE, 0,
                            nullptr, CREATE_ALWAYS, 0, nullptr));
#endif
    return e->begun;
}

WM_PLUGIN_EXPORT uint32_t ENC_EncodeBlock(void* instance, AudioBlockInfo* block) {
    auto* e = static_cast<Encoder*>(instance);
#ifdef BREAK_EMPTY_END
    if (block->length == 0)
        return 0;
#endif
#ifdef BREAK_NULL_LAST
    volatile uint8_t first = *static_cast<const uint8_t*>(block->data); // a level meter's peek
    (void)first;
#endif
#ifndef BREAK_AFTER_END
    if (!e->begun)
        return 0;
#endif
    if (block->length == 0 || e->file == INVALID_HANDLE_VALUE)
        return 1;
    e->dataBytes += block->length;
    TrackPeak(e, block);
#ifdef BREAK_GLOBAL_PENDING
    g_pending.append(static_cast<const char*>(block->data), block->length);
    return g_pending.size() < 65536 || FlushPending(e->file);
#elif defined(BREAK_NOT_LOSSLESS)
    // The lowest bit of each block's first byte flipped: inaudible, yet not the samples given.
    std::string changed(static_cast<const char*>(block->data), block->length);
    changed[0] = static_cast<char>(changed[0] ^ 1);
    return WriteAll(e->file, changed.data(), block->length);
#else
    return WriteAll(e->file, block->data, block->length);
#endif
}

// The files written, as "FileName1" (the output) in a tag block of the encoder's own.
void ReportFiles(Encoder* e, ConversionInfo* conversion) {
    std::u16string record = u"FileName1" + (u'\0' + std::u16string(conversion->outputPath)) + u'\0';
#ifdef BREAK_SECOND_BLOCK_BAD
    record.pop_back(); // the value's 0 terminator left out
#endif
    const uint32_t length = static_cast<uint32_t>(4 + 2 * record.size());
    e->reported = {1, 0};
    e->reported.append(reinterpret_cast<const char16_t*>(&length), 2);
    e->reported += record;
    conversion->secondData = e->reported.data();
    conversion->secondSize = static_cast<uint32_t>(e->reported.size() * 2);
}

WM_PLUGIN_EXPORT uint32_t ENC_EndConversion(void* instance, ConversionInfo* conversion, uint32_t*) {
    auto* e = static_cast<Encoder*>(instance);
    bool close = true;
#ifdef BREAK_KEEP_OPEN
    close = false;
#endif
#ifdef BREAK_FAILED_OPEN
    close = !conversion->runError;
#endif
#ifdef BREAK_GLOBAL_PENDING
    if (e->file != INVALID_HANDLE_VALUE)
        FlushPending(e->file);
#endif
#ifndef BREAK_HEADER_UNPATCHED
    uint8_t header[kHeaderSize];
    WaveHeader(header, e->format, e->dataBytes);
    if (e->file != INVALID_HANDLE_VALUE && SetFilePointer(e->file, 0, nullptr, FILE_BEGIN) == 0)
        WriteAll(e->file, header, kHeaderSize);
#endif
    if (close)
        CloseHandle(e->file);
    if (!conversion->runError)
        ReportFiles(e, conversion);
    e->file = INVALID_HANDLE_VALUE;
    e->begun = false;
    return 1;
}
