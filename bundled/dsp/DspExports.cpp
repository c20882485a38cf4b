// The eleven DSP entry points, exported by their plain C names. Compiled into every effect
// library, each of which supplies its own MakeEffect().
#include "bundled/dsp/DspEffect.h"

#include <exception>
#include <new>
#include <string_view>
#include <type_traits>

using wm::dsp::DspEffect;

namespace {

DspEffect* Self(void* instance) {
    return static_cast<DspEffect*>(instance);
}

// No C++ exception may leave a plug-in: a failure becomes a 0 result with its reason.
template <typename Step> uint32_t Guarded(void* instance, Step step) {
    if (!instance)
        return 0;
    DspEffect& effect = *Self(instance);
    effect.ClearError();
    try {
        return step(effect) ? 1 : 0;
    } catch (const std::bad_alloc&) {
        effect.Fail(u"out of memory");
    } catch (...) {
        effect.Fail(u"internal error");
    }
    return 0;
}

} // namespace

WM_PLUGIN_EXPORT void* DSP_Create(void* /*hostContext*/) {
    try {
        return wm::dsp::MakeEffect().release();
    } catch (...) {
        return nullptr;
    }
}

WM_PLUGIN_EXPORT void DSP_Destroy(void* instance) {
    delete Self(instance);
}

WM_PLUGIN_EXPORT uint32_t DSP_Get(void* instance, const WmChar* name, PluginValue* value) {
    return instance ? Self(instance)->Get(name, value) : 0;
}

// The batch number is accepted and not needed; nothing else is settable.
WM_PLUGIN_EXPORT uint32_t DSP_Set(void* instance, const WmChar* name, PluginValue*) {
    return instance && name && std::u16string_view(name) == WM_VALUE_BATCH_ID ? 1 : 0;
}

// The effects are configured by their settings text alone.
WM_PLUGIN_EXPORT uint32_t DSP_ShowConfigBit(void*, void*, void*) {
    return 0;
}
WM_PLUGIN_EXPORT uint32_t DSP_RemoveConfigBit(void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DSP_BeginConversion(void* instance, ConversionInfo* /*conversion*/,
                                              const WmChar* settings) {
    return Guarded(instance, [&](DspEffect& e) { return e.Begin(settings); });
}

WM_PLUGIN_EXPORT uint32_t DSP_EndConversion(void* instance, ConversionInfo* /*conversion*/) {
    return Guarded(instance, [&](DspEffect& e) { return e.End(); });
}

WM_PLUGIN_EXPORT uint32_t DSP_PassAudioBlock(void* instance, AudioBlockInfo* block) {
    return Guarded(instance, [&](DspEffect& e) { return block ? e.Pass(*block) : false; });
}

WM_PLUGIN_EXPORT uint32_t DSP_PassNonLive(void* instance, const WmChar* renderedPath,
                                          const WmWaveFormat* format, const WmChar* settings,
                                          void* /*runValue*/) {
    return Guarded(instance, [&](DspEffect& e) {
        return renderedPath && format ? e.PassNonLive(renderedPath, *format, settings)
                                      : e.Fail(u"no rendered file was given");
    });
}

// Nothing of the output concerns an effect once it is written.
WM_PLUGIN_EXPORT uint32_t DSP_AfterConversion(void* instance, ConversionInfo*) {
    return instance ? 1 : 0;
}

static_assert(std::is_same_v<decltype(&DSP_Create), WmDspCreate>);
static_assert(std::is_same_v<decltype(&DSP_Destroy), WmDspDestroy>);
static_assert(std::is_same_v<decltype(&DSP_Get), WmDspGet>);
static_assert(std::is_same_v<decltype(&DSP_Set), WmDspSet>);
static_assert(std::is_same_v<decltype(&DSP_ShowConfigBit), WmDspShowConfigBit>);
static_assert(std::is_same_v<decltype(&DSP_RemoveConfigBit), WmDspRemoveConfigBit>);
static_assert(std::is_same_v<decltype(&DSP_BeginConversion), WmDspBeginConversion>);
static_assert(std::is_same_v<decltype(&DSP_EndConversion), WmDspEndConversion>);
static_assert(std::is_same_v<decltype(&DSP_PassAudioBlock), WmDspPassAudioBlock>);
static_assert(std::is_same_v<decltype(&DSP_PassNonLive), WmDspPassNonLive>);
static_assert(std::is_same_v<decltype(&DSP_AfterConversion), WmDspAfterConversion>);
