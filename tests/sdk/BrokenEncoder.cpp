// An encoder that breaks one rule on purpose (a BREAK_... definition); without one it keeps
// every rule and writes the raw PCM it receives.
#include "sdk/wavemill_plugin.h"

#include <windows.h>

#include <string>
#include <string_view>

namespace {

struct Encoder {
    HANDLE file = INVALID_HANDLE_VALUE;
    bool begun = false;
};

} // namespace

WM_PLUGIN_EXPORT void* ENC_Create(void*) {
    return new Encoder;
}

WM_PLUGIN_EXPORT void ENC_Destroy(void* instance) {
    delete static_cast<Encoder*>(instance);
}

WM_PLUGIN_EXPORT uint32_t ENC_Get(void*, const WmChar* name, PluginValue* value) {
    if (std::u16string_view(name) != WM_VALUE_EXTENSION)
        return 0;
#ifdef BREAK_EXTENSION
    value->pointer1 = const_cast<char16_t*>(u"pcm");
#else
    value->pointer1 = const_cast<char16_t*>(u".pcm");
#endif
    return 1;
}

WM_PLUGIN_EXPORT uint32_t ENC_Set(void*, const WmChar*, PluginValue*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_ShowConfigBit(void*, void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_RemoveConfigBit(void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_BeginConversion(void* instance, ConversionInfo* conversion) {
    auto* e = static_cast<Encoder*>(instance);
    e->file = CreateFileW(reinterpret_cast<const wchar_t*>(conversion->outputPath), GENERIC_WRITE,
                          FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr);
    e->begun = e->file != INVALID_HANDLE_VALUE;
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
#ifndef BREAK_AFTER_END
    if (!e->begun)
        return 0;
#endif
    DWORD written = 0;
    return block->length == 0 || e->file == INVALID_HANDLE_VALUE ||
           WriteFile(e->file, block->data, block->length, &written, nullptr);
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
    (void)conversion;
    if (close)
        CloseHandle(e->file);
    e->file = INVALID_HANDLE_VALUE;
    e->begun = false;
    return 1;
}
