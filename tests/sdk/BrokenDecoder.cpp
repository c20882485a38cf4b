// A decoder that breaks one rule of the plug-in interface on purpose (chosen by a BREAK_...
// definition at build time), so that the tests can see plugin-check name it. Without one it
// keeps every rule: it reads ".brk" files, "BRK", a channel count byte, a bits byte, the rate as
// 4 little-endian bytes, then integer PCM to the end of the file (a partial frame at the end is
// dropped).
#include "sdk/wavemill_plugin.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace {

constexpr uint32_t kHeader = 9, kBlockFrames = 4410;

struct Decoder {
    bool open = false;
    HANDLE source = INVALID_HANDLE_VALUE; // held from "Open" to "Close"
    std::vector<uint8_t> file;
    WmWaveFormat format{};
    uint32_t total = 0, delivered = 0;
    std::vector<uint8_t> buffer;
};

#ifdef BREAK_GLOBAL_STATE
uint32_t g_delivered = 0; // shared by every instance
uint32_t& Delivered(Decoder*) {
    return g_delivered;
}
#else
uint32_t& Delivered(Decoder* d) {
    return d->delivered;
}
#endif

WmWaveFormat Format(uint16_t channels, uint16_t bits, uint32_t rate) {
    WmWaveFormat f{};
    f.formatTag = channels > 2 || bits > 16 ? WM_FORMAT_EXTENSIBLE : WM_FORMAT_PCM;
    f.channels = channels;
    f.samplesPerSec = rate;
    f.bitsPerSample = bits;
#ifdef BREAK_BLOCKALIGN_16
    f.blockAlign = static_cast<uint16_t>(channels * 2);
#else
    f.blockAlign = static_cast<uint16_t>(channels * (bits / 8));
#endif
#ifdef BREAK_FORMAT
    f.avgBytesPerSec = rate * channels;
#else
    f.avgBytesPerSec = rate * f.blockAlign;
#endif
    if (f.formatTag == WM_FORMAT_EXTENSIBLE) {
        static const uint8_t kPcm[16] = {1,    0, 0, 0,    0, 0,    0x10, 0,
                                         0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
        f.cbSize = 22;
        f.validBitsPerSample = bits;
        std::memcpy(f.subFormat, kPcm, 16);
    }
    return f;
}

uint64_t Ms(uint64_t bytes, const WmWaveFormat& f) {
    return bytes * 1000 / f.avgBytesPerSec;
}

void CloseSource(Decoder& d) {
    if (d.source != INVALID_HANDLE_VALUE)
        CloseHandle(d.source);
    d.source = INVALID_HANDLE_VALUE;
}

// Opens the source, which stays open until "Close", and reads it whole.
bool ReadWholeFile(Decoder& d, const WmChar* path) {
    CloseSource(d);
    d.source = CreateFileW(reinterpret_cast<const wchar_t*>(path), GENERIC_READ, FILE_SHARE_READ,
                           nullptr, OPEN_EXISTING, 0, nullptr);
    if (d.source == INVALID_HANDLE_VALUE)
        return false;
    d.file.resize(GetFileSize(d.source, nullptr));
    DWORD got = 0;
    return d.file.empty() ||
           (ReadFile(d.source, d.file.data(), static_cast<DWORD>(d.file.size()), &got, nullptr) &&
            got == d.file.size());
}

bool IsBrk(const std::vector<uint8_t>& data) {
#ifdef BREAK_ZERO_CRASH
    const uint8_t* header = data.data(); // the size is never looked at
    return header[3] != 0 && std::memcmp(header, "BRK", 3) == 0;
#else
    return data.size() >= kHeader && std::memcmp(data.data(), "BRK", 3) == 0 && data[3] != 0 &&
           (data[4] == 8 || data[4] == 16 || data[4] == 24 || data[4] == 32);
#endif
}

// The bytes of audio to deliver: whole frames only.
uint32_t AudioBytes(const Decoder& d) {
    const uint32_t bytes = static_cast<uint32_t>(d.file.size()) - kHeader;
#if defined(BREAK_CUT_TORN) || defined(BREAK_TORN_END)
    return bytes; // a partial frame at the end is handed over
#elif defined(BREAK_STOP_AT_SILENCE)
    // Trailing zeros taken for padding: silence at the end is lost.
    uint32_t end = bytes - bytes % d.format.blockAlign;
    while (end > 0 && d.file[kHeader + end - 1] == 0)
        --end;
    return end - end % d.format.blockAlign;
#else
    return bytes - bytes % d.format.blockAlign;
#endif
}

std::vector<uint8_t> BlockBuffer(const WmWaveFormat& f) {
#if defined(BREAK_FIXED_64K)
    (void)f;
    return std::vector<uint8_t>(64 * 1024); // enough for 16-bit stereo
#elif defined(BREAK_SIZED_FOR_16)
    return std::vector<uint8_t>(size_t{kBlockFrames} * f.channels * 2);
#else
    return std::vector<uint8_t>(size_t{kBlockFrames} * f.blockAlign);
#endif
}

#ifdef BREAK_TAG_UNTERMINATED
// One entry "title" = "x" whose value lacks its 0 terminator.
uint8_t g_tags[] = {1, 0, 0, 0, 18, 0, 0, 0, 't', 0, 'i', 0, 't', 0, 'l', 0, 'e', 0, 0, 0, 'x', 0};
#endif

} // namespace

WM_PLUGIN_EXPORT void* Create(void* hostContext) {
#ifdef BREAK_CRASH
    if (*static_cast<volatile int*>(hostContext) == 42) // the host context is opaque
        return nullptr;
#else
    (void)hostContext;
#endif
    return new Decoder;
}

WM_PLUGIN_EXPORT void Destroy(void* instance) {
    CloseSource(*static_cast<Decoder*>(instance));
    delete static_cast<Decoder*>(instance);
}

WM_PLUGIN_EXPORT uint32_t Get(void*, const WmChar* name, PluginValue* value) {
    const std::u16string_view asked(name);
#ifdef BREAK_LASTERROR_LINES
    if (asked == WM_VALUE_LAST_ERROR) {
        value->pointer1 = const_cast<char16_t*>(u"first line\r\nsecond line");
        return 1;
    }
#endif
#ifdef BREAK_UNKNOWN_VALUE
    if (asked != WM_VALUE_DECODES)
        return 1;
#endif
#ifdef BREAK_COMMUNICATE_FOREVER
    if (asked == WM_VALUE_COMMUNICATE)
        return 1; // "one more request", always
#endif
#ifdef BREAK_DECODES_ENDLESS
    const bool entry = true;
#elif defined(BREAK_CLAIMS_WAV)
    const bool entry = value->value1 <= 1;
#else
    const bool entry = value->value1 == 0;
#endif
#ifndef BREAK_NO_REASON
    if (asked == WM_VALUE_LAST_ERROR) {
        value->pointer1 = const_cast<char16_t*>(u"not a .brk file");
        return 1;
    }
#endif
    if (asked != WM_VALUE_DECODES || !entry)
        return 0;
    // A second entry claims what another decoder reads already.
    value->pointer1 = const_cast<char16_t*>(value->value1 ? u".wav" : u".brk");
    value->pointer2 = const_cast<char16_t*>(u"Broken On Purpose");
    return 1;
}

WM_PLUGIN_EXPORT uint32_t Set(void*, const WmChar*, PluginValue*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t Open(void* instance, DecodeOpenInfo* info) {
    auto* d = static_cast<Decoder*>(instance);
#ifdef BREAK_OPEN_FOREIGN
    constexpr bool acceptsAnything = true;
#else
    constexpr bool acceptsAnything = false;
#endif
    if (!ReadWholeFile(*d, info->path))
        return 0;
#ifdef BREAK_HANG
    // Walks chunk by chunk to the header; a damaged chunk whose size reads as 0 is never left.
    for (size_t at = 0; !IsBrk(d->file) && at < d->file.size();) {
        const volatile uint8_t chunkSize = d->file[at] == 'x' ? 0 : 1;
        at += chunkSize;
    }
#endif
    if (!acceptsAnything && !IsBrk(d->file)) {
        CloseSource(*d);
        return 0;
    }
    d->file.resize(std::max<size_t>(d->file.size(), kHeader));
    uint32_t rate = 0;
    std::memcpy(&rate, &d->file[5], 4);
    d->format = acceptsAnything ? Format(2, 16, 44100) : Format(d->file[3], d->file[4], rate);
    d->open = true;
    d->total = AudioBytes(*d);
#ifndef BREAK_NO_RESET
    Delivered(d) = 0;
#endif
    d->buffer = BlockBuffer(d->format);
    info->format = d->format;
    info->bitRate = d->format.avgBytesPerSec * 8;
    info->byteLength = d->total;
    info->msLength = Ms(d->total, d->format);
#ifdef BREAK_MSLENGTH_16
    info->msLength = d->total * 1000 / (rate * 4); // as if every file were 16-bit stereo
#endif
#ifdef BREAK_BYTE_TOTAL
    info->byteLength = d->total + d->format.blockAlign;
    info->msLength = Ms(info->byteLength, d->format);
#endif
#ifdef BREAK_TAGS
    static uint8_t damaged[] = {2, 0, 0, 0, 200, 0, 0, 0}; // two entries, the first too long
    info->tagData = damaged;
    info->tagSize = sizeof damaged;
#endif
#ifdef BREAK_TAG_UNTERMINATED
    info->tagData = g_tags;
    info->tagSize = sizeof g_tags;
#endif
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DecodeBlock(void* instance, AudioBlockInfo* block) {
    auto* d = static_cast<Decoder*>(instance);
#ifndef BREAK_AFTER_CLOSE
    if (!d->open)
        return 0;
#endif
    const WmWaveFormat& f = d->format;
    const uint32_t n =
        std::min(d->total - std::min(Delivered(d), d->total), kBlockFrames * f.blockAlign);
    uint8_t* data = d->buffer.data();
#ifdef BREAK_LEAK
    data = new uint8_t[n + 1]; // never freed
#endif
    if (n)
        std::memcpy(data, &d->file[kHeader + Delivered(d)], n);
    block->data = n ? data : nullptr;
    block->length = n;
#ifdef BREAK_TORN
    if (n == kBlockFrames * f.blockAlign)
        block->length += 1; // not whole frames
#endif
    block->format = f;
    block->bitRate = f.avgBytesPerSec * 8;
    block->msDuration = Ms(n, f);
    block->msPosition = Ms(Delivered(d), f);
    Delivered(d) += n;
#ifdef BREAK_POSITION
    block->msPosition += 1;
#endif
#ifdef BREAK_NULL_DATA
    block->data = nullptr;
#endif
#if defined(BREAK_END_ON_DATA) || defined(BREAK_TORN_END)
    block->endOfStream = Delivered(d) >= d->total;
#elif defined(BREAK_NO_END)
    block->endOfStream = 0;
#else
    block->endOfStream = n == 0;
#endif
    return 1;
}

WM_PLUGIN_EXPORT uint32_t Close(void* instance, ConversionInfo*) {
    auto* d = static_cast<Decoder*>(instance);
    d->open = false;
#ifndef BREAK_KEEPS_HANDLE
    CloseSource(*d);
#endif
    return 1;
}

WM_PLUGIN_EXPORT uint32_t SetPosition(void*, uint64_t) {
    return 0;
}

#ifdef BREAK_DECORATED
// Exported under a decorated name only, as a tool chain that decorates would do.
extern "C" __declspec(dllexport) uint32_t
    DecoratedDeleteATag(void*, void*, void*) __asm__("_DeleteATag");
uint32_t DecoratedDeleteATag(void*, void*, void*) {
    return 0;
}
#else
WM_PLUGIN_EXPORT uint32_t DeleteATag(void*, void*, void*) {
    return 0;
}
#endif
