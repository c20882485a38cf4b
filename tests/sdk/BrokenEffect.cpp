// An effect that breaks one rule on purpose (a BREAK_... definition); without one it keeps
// every rule and hands back a copy of each block from a buffer of its own.
#include "sdk/wavemill_plugin.h"

#include <windows.h>

#include <cstring>
#include <string_view>
#include <vector>

namespace {

struct Effect {
    std::vector<uint8_t> out;
};

} // namespace

WM_PLUGIN_EXPORT void* DSP_Create(void*) {
    return new Effect;
}

WM_PLUGIN_EXPORT void DSP_Destroy(void* instance) {
    delete static_cast<Effect*>(instance);
}

WM_PLUGIN_EXPORT uint32_t DSP_Get(void*, const WmChar* name, PluginValue*) {
    bool live = true;
#ifdef BREAK_NONLIVE_TORN
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

WM_PLUGIN_EXPORT uint32_t DSP_BeginConversion(void*, ConversionInfo*, const WmChar*) {
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DSP_PassAudioBlock(void* instance, AudioBlockInfo* block) {
    auto* e = static_cast<Effect*>(instance);
    if (!block->length)
        return 1;
    uint8_t* out = nullptr;
    (void)e;
#ifdef BREAK_LEAK
    out = new uint8_t[block->length]; // never freed
#else
    e->out.resize(block->length);
    out = e->out.data();
#endif
    std::memcpy(out, block->data, block->length);
    block->data = out;
#ifdef BREAK_TORN
    block->length -= 1;
#endif
#ifdef BREAK_LIVE_FORMAT
    block->format.avgBytesPerSec = 1;
#endif
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DSP_EndConversion(void*, ConversionInfo*) {
    return 1;
}

// Rewrites the file unchanged (or, broken, one byte longer).
WM_PLUGIN_EXPORT uint32_t DSP_PassNonLive(void*, const WmChar* path, const WmWaveFormat*,
                                          const WmChar*, void*) {
    HANDLE file = CreateFileW(reinterpret_cast<const wchar_t*>(path), FILE_APPEND_DATA, 0, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return 0;
#ifdef BREAK_NONLIVE_TORN
    DWORD written = 0;
    WriteFile(file, "x", 1, &written, nullptr);
#endif
    CloseHandle(file);
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DSP_AfterConversion(void*, ConversionInfo*) {
    return 1;
}
