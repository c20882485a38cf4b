// The nine encoder entry points, exported by their plain C names.
#include "bundled/wav_encoder/WavEncoder.h"

#include <new>
#include <type_traits>

using wm::bundled::WavEncoder;

namespace {
WavEncoder* Self(void* instance) {
    return static_cast<WavEncoder*>(instance);
}
} // namespace

WM_PLUGIN_EXPORT void* ENC_Create(void* /*hostContext*/) {
    return new (std::nothrow) WavEncoder();
}

WM_PLUGIN_EXPORT void ENC_Destroy(void* instance) {
    delete Self(instance);
}

WM_PLUGIN_EXPORT uint32_t ENC_Get(void* instance, const WmChar* name, PluginValue* value) {
    return instance ? Self(instance)->Get(name, value) : 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_Set(void* instance, const WmChar* name, PluginValue* value) {
    return instance ? Self(instance)->Set(name, value) : 0;
}

// Wave output has nothing to configure.
WM_PLUGIN_EXPORT uint32_t ENC_ShowConfigBit(void*, void*, void*) {
    return 0;
}
WM_PLUGIN_EXPORT uint32_t ENC_RemoveConfigBit(void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_BeginConversion(void* instance, ConversionInfo* conversion) {
    return instance ? Self(instance)->Begin(conversion) : 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_EndConversion(void* instance, ConversionInfo* conversion,
                                            uint32_t* tagAfterwards) {
    if (!instance) {
        if (tagAfterwards)
            *tagAfterwards = 0;
        return 0;
    }
    return Self(instance)->End(conversion, tagAfterwards);
}

WM_PLUGIN_EXPORT uint32_t ENC_EncodeBlock(void* instance, AudioBlockInfo* block) {
    return instance ? Self(instance)->Encode(block) : 0;
}

static_assert(std::is_same_v<decltype(&ENC_Create), WmEncCreate>);
static_assert(std::is_same_v<decltype(&ENC_Destroy), WmEncDestroy>);
static_assert(std::is_same_v<decltype(&ENC_Get), WmEncGet>);
static_assert(std::is_same_v<decltype(&ENC_Set), WmEncSet>);
static_assert(std::is_same_v<decltype(&ENC_ShowConfigBit), WmEncShowConfigBit>);
static_assert(std::is_same_v<decltype(&ENC_RemoveConfigBit), WmEncRemoveConfigBit>);
static_assert(std::is_same_v<decltype(&ENC_BeginConversion), WmEncBeginConversion>);
static_assert(std::is_same_v<decltype(&ENC_EndConversion), WmEncEndConversion>);
static_assert(std::is_same_v<decltype(&ENC_EncodeBlock), WmEncEncodeBlock>);
