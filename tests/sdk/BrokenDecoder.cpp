// A decoder that breaks one rule of the plug-in interface on purpose (chosen by a BREAK_...
// definition at build time), so that the tests can see plugin-check name it. Without one it
// keeps every rule: it reads ".brk" files that start with "BRK" as one second of 44100 Hz
// 16-bit stereo audio.
#include "sdk/wavemill_plugin.h"

#include <windows.h>

#include <cstring>
#include <string_view>
#include <vector>

namespace {

constexpr uint32_t kTotal = 176400, kFrame = 4;
#ifdef BREAK_TORN
constexpr uint32_t kBlock = 17641; // not whole frames
#else
constexpr uint32_t kBlock = 17640;
#endif

struct Decoder {
    bool open = false;
    uint32_t delivered = 0;
    std::vector<uint8_t> buffer = std::vector<uint8_t>(kBlock);
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

WmWaveFormat Format() {
    WmWaveFormat f{};
    f.formatTag = WM_FORMAT_PCM;
    f.channels = 2;
    f.samplesPerSec = 44100;
    f.bitsPerSample = 16;
    f.blockAlign = kFrame;
#ifdef BREAK_FORMAT
    f.avgBytesPerSec = 44100 * 2;
#else
    f.avgBytesPerSec = 44100 * kFrame;
#endif
    return f;
}

uint64_t Ms(uint64_t bytes) {
    return bytes * 1000 / Format().avgBytesPerSec;
}

bool StartsWithMagic(const WmChar* path) {
    HANDLE file = CreateFileW(reinterpret_cast<const wchar_t*>(path), GENERIC_READ, FILE_SHARE_READ,
                              nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    char magic[3] = {};
    DWORD got = 0;
    const bool ok =
        ReadFile(file, magic, 3, &got, nullptr) && got == 3 && std::memcmp(magic, "BRK", 3) == 0;
    CloseHandle(file);
    return ok;
}

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
#ifdef BREAK_DECODES_ENDLESS
    const bool entry = true;
#else
    const bool entry = value->value1 == 0;
#endif
    if (asked != WM_VALUE_DECODES || !entry)
        return 0;
    value->pointer1 = const_cast<char16_t*>(u".brk");
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
    if (!acceptsAnything && !StartsWithMagic(info->path))
        return 0;
    d->open = true;
    Delivered(d) = 0;
    info->format = Format();
    info->bitRate = Format().avgBytesPerSec * 8;
    info->byteLength = kTotal;
    info->msLength = Ms(kTotal);
#ifdef BREAK_BYTE_TOTAL
    info->byteLength = kTotal + kFrame;
    info->msLength = Ms(kTotal + kFrame);
#endif
#ifdef BREAK_TAGS
    static uint8_t damaged[] = {2, 0, 0, 0, 200, 0, 0, 0}; // two entries, the first too long
    info->tagData = damaged;
    info->tagSize = sizeof damaged;
#endif
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DecodeBlock(void* instance, AudioBlockInfo* block) {
    auto* d = static_cast<Decoder*>(instance);
#ifndef BREAK_AFTER_CLOSE
    if (!d->open)
        return 0;
#endif
    const uint32_t n = kTotal - Delivered(d) < kBlock ? kTotal - Delivered(d) : kBlock;
    uint8_t* data = d->buffer.data();
#ifdef BREAK_LEAK
    data = new uint8_t[kBlock]; // never freed
#endif
    std::memset(data, Delivered(d) & 0xFF, n);
    block->data = n ? data : nullptr;
    block->length = n;
    block->format = Format();
    block->bitRate = Format().avgBytesPerSec * 8;
    block->msDuration = Ms(n);
    block->msPosition = Ms(Delivered(d));
    Delivered(d) += n;
#ifdef BREAK_POSITION
    block->msPosition += 1;
#endif
#ifdef BREAK_NULL_DATA
    block->data = nullptr;
#endif
#ifdef BREAK_END_ON_DATA
    block->endOfStream = Delivered(d) == kTotal;
#else
    block->endOfStream = n == 0;
#endif
    return 1;
}

WM_PLUGIN_EXPORT uint32_t Close(void* instance, ConversionInfo*) {
    static_cast<Decoder*>(instance)->open = false;
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
