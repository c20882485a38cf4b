// An effect that breaks one rule on purpose (a BREAK_... definition); without one it keeps
// every rule: a delay of 441 frames, handed back from a buffer of its own, that takes no
// settings and refuses any it is given.
#include "sdk/wavemill_plugin.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace {

constexpr uint32_t kDelayFrames = 441;

struct DelayLine {
    std::vector<uint8_t> held; // the last kDelayFrames frames given
};

struct Effect {
    std::vector<uint8_t> delayed, out;
    HANDLE kept = INVALID_HANDLE_VALUE;
    DelayLine delay;
    const char16_t* lastError = nullptr;
};

#ifdef BREAK_GLOBAL_DELAY
DelayLine g_delay; // shared by every instance
DelayLine& DelayOf(Effect&) {
    return g_delay;
}
#else
DelayLine& DelayOf(Effect& e) {
    return e.delay;
}
#endif

// Silence of `f` to start the delay line with: unsigned 8-bit audio is silent at 0x80.
void StartDelay(DelayLine& d, const WmWaveFormat& f) {
    d.held.assign(size_t{kDelayFrames} * f.blockAlign, f.bitsPerSample == 8 ? 0x80 : 0);
}

// Hands back the held frames followed by the block, and holds the block's last frames.
void Delay(DelayLine& d, const uint8_t* in, uint32_t length, uint8_t* out) {
    std::vector<uint8_t> line = d.held;
    line.insert(line.end(), in, in + length);
    std::memcpy(out, line.data(), length);
    d.held.assign(line.end() - static_cast<std::ptrdiff_t>(d.held.size()), line.end());
}

#ifdef BREAK_WIDTH_AS_16
// Halves every sample as if it were 16-bit, whatever the width.
void HalveAs16(uint8_t* data, uint32_t length) {
    for (uint32_t i = 0; i + 1 < length; i += 2) {
        int16_t v = 0;
        std::memcpy(&v, data + i, 2);
        v = static_cast<int16_t>(v / 2);
        std::memcpy(data + i, &v, 2);
    }
}
#endif

// An effect without settings: any word is refused, or a misspelt one would go unnoticed.
bool TakeSettings(Effect& e, const WmChar* settings) {
#ifdef BREAK_IGNORES_SETTINGS
    (void)e;
    (void)settings;
    return true;
#else
    for (; settings && *settings; ++settings)
        if (*settings != u' ') {
            e.lastError = u"unknown setting (this effect takes none)";
            return false;
        }
    return true;
#endif
}

// What the effect hands back for `length` bytes of `in` (delayed, unless a break says otherwise).
uint32_t Process(Effect& e, const uint8_t* in, uint32_t length, const WmWaveFormat& f) {
    DelayLine& delay = DelayOf(e);
    if (delay.held.size() != size_t{kDelayFrames} * f.blockAlign)
        StartDelay(delay, f);
    e.delayed.resize(length);
    Delay(delay, in, length, e.delayed.data());
    in = e.delayed.data();
#if defined(BREAK_FLOAT_UNSAID)
    // Every sample widened to a 32-bit float; the format left as it was.
    const uint32_t bytes = f.bitsPerSample / 8, samples = length / bytes;
    e.out.resize(size_t{samples} * 4);
    for (uint32_t i = 0; i < samples; ++i) {
        int32_t v = 0;
        std::memcpy(reinterpret_cast<uint8_t*>(&v) + 4 - bytes, in + i * bytes, bytes);
        const float x = static_cast<float>(v) / 2147483648.0f;
        std::memcpy(&e.out[size_t{i} * 4], &x, 4);
    }
    return samples * 4;
#elif defined(BREAK_RATE_UNSAID)
    // Resampled to 48000 Hz by repeating frames; the rate left as it was.
    const uint32_t frame = f.blockAlign, frames = length / frame;
    const uint32_t outFrames = static_cast<uint32_t>(uint64_t{frames} * 48000 / 44100);
    e.out.resize(size_t{outFrames} * frame);
    for (uint32_t i = 0; i < outFrames; ++i)
        std::memcpy(&e.out[size_t{i} * frame], in + uint64_t{i} * 44100 / 48000 * frame, frame);
    return outFrames * frame;
#else
    e.out.assign(in, in + length);
#ifdef BREAK_WIDTH_AS_16
    HalveAs16(e.out.data(), length);
#endif
#if defined(BREAK_FIXED_BUFFER)
    return std::min<uint32_t>(length, 64 * 1024); // the rest does not fit and is lost
#elif defined(BREAK_ASSUMES_STEREO16)
    return length / 4 * 4; // whole 4-byte frames, whatever the format
#else
    return length;
#endif
#endif
}

} // namespace

WM_PLUGIN_EXPORT void* DSP_Create(void*) {
    return new Effect;
}

WM_PLUGIN_EXPORT void DSP_Destroy(void* instance) {
    auto* e = static_cast<Effect*>(instance);
    if (e->kept != INVALID_HANDLE_VALUE)
        CloseHandle(e->kept);
    delete e;
}

WM_PLUGIN_EXPORT uint32_t DSP_Get(void* instance, const WmChar* name, PluginValue* value) {
    if (std::u16string_view(name) == WM_VALUE_LAST_ERROR) {
        value->pointer1 = const_cast<char16_t*>(static_cast<Effect*>(instance)->lastError);
        return value->pointer1 != nullptr;
    }
    bool live = true;
#if defined(BREAK_NONLIVE_TORN) || defined(BREAK_NONLIVE_LOCKED)
    live = false;
#endif
    return live && std::u16string_view(name) == WM_VALUE_IS_LIVE;
}

WM_PLUGIN_EXPORT uint32_t DSP_Set(void*, const WmChar*, PluginValue*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DSP_ShowConfigBit(void*, void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DSP_RemoveConfigBit(void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DSP_BeginConversion(void* instance, ConversionInfo*,
                                              const WmChar* settings) {
    auto* e = static_cast<Effect*>(instance);
    DelayOf(*e).held.clear(); // started with the first block's format
    return TakeSettings(*e, settings);
}

WM_PLUGIN_EXPORT uint32_t DSP_PassAudioBlock(void* instance, AudioBlockInfo* block) {
    auto* e = static_cast<Effect*>(instance);
#ifdef BREAK_NULL_END
    volatile uint8_t first = *static_cast<const uint8_t*>(block->data); // a level meter's peek
    (void)first;
#endif
    if (!block->length)
        return 1;
#if defined(BREAK_WRITES_INPUT)
    auto* data = static_cast<uint8_t*>(block->data);
    for (uint32_t i = 0; i < block->length; ++i)
        data[i] ^= 0x01; // worked on in place
    return 1;
#endif
    block->length =
        Process(*e, static_cast<const uint8_t*>(block->data), block->length, block->format);
    uint8_t* out = e->out.data();
#ifdef BREAK_LEAK
    out = new uint8_t[block->length]; // a new buffer per block, never freed
    std::memcpy(out, e->out.data(), block->length);
#endif
    block->data = out;
#ifdef BREAK_TORN
    block->length -= 1;
#endif
#ifdef BREAK_LIVE_FORMAT
    block->format.avgBytesPerSec = 1;
#endif
#ifdef BREAK_HARDCODED_FORMAT
    // Declared as the 16-bit stereo the effect was written for.
    block->format.formatTag = WM_FORMAT_PCM;
    block->format.channels = 2;
    block->format.samplesPerSec = 44100;
    block->format.bitsPerSample = 16;
    block->format.blockAlign = 4;
    block->format.avgBytesPerSec = 44100 * 4;
    block->format.cbSize = 0;
#endif
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DSP_EndConversion(void*, ConversionInfo*) {
    return 1;
}

// Rewrites the file unchanged (or, broken, one byte longer, or left open).
WM_PLUGIN_EXPORT uint32_t DSP_PassNonLive(void* instance, const WmChar* path, const WmWaveFormat*,
                                          const WmChar* settings, void*) {
    if (!TakeSettings(*static_cast<Effect*>(instance), settings))
        return 0;
    HANDLE file = CreateFileW(reinterpret_cast<const wchar_t*>(path), FILE_APPEND_DATA, 0, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return 0;
#ifdef BREAK_NONLIVE_TORN
    DWORD written = 0;
    WriteFile(file, "x", 1, &written, nullptr);
#endif
#ifdef BREAK_NONLIVE_LOCKED
    static_cast<Effect*>(instance)->kept = file; // closed only when the instance goes
    return 1;
#endif
    CloseHandle(file);
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DSP_AfterConversion(void*, ConversionInfo*) {
    return 1;
}
