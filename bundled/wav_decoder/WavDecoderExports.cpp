// The nine decoder entry points, exported by their plain C names.
#include "bundled/wav_decoder/WavDecoder.h"

#include <new>
#include <type_traits>

using wm::bundled::WavDecoder;

namespace {
WavDecoder* Self(void* instance) {
    return static_cast<WavDecoder*>(instance);
}
} // namespace

WM_PLUGIN_EXPORT void* Create(void* /*hostContext*/) {
    return new (std::nothrow) WavDecoder();
}

WM_PLUGIN_EXPORT void Destroy(void* instance) {
    delete Self(instance);
}

WM_PLUGIN_EXPORT uint32_t Get(void* instance, const WmChar* name, PluginValue* value) {
    return instance ? Self(instance)->Get(name, value) : 0;
}

WM_PLUGIN_EXPORT uint32_t Set(void* instance, const WmChar* name, PluginValue* value) {
    return instance ? Self(instance)->Set(name, value) : 0;
}

WM_PLUGIN_EXPORT uint32_t Open(void* instance, DecodeOpenInfo* info) {
    return instance ? Self(instance)->Open(info) : 0;
}

WM_PLUGIN_EXPORT uint32_t Close(void* instance, ConversionInfo* /*conversion*/) {
    return instance ? Self(instance)->Close() : 0;
}

WM_PLUGIN_EXPORT uint32_t DecodeBlock(void* instance, AudioBlockInfo* block) {
    return instance ? Self(instance)->DecodeBlock(block) : 0;
}

WM_PLUGIN_EXPORT uint32_t SetPosition(void* instance, uint64_t position) {
    return instance ? Self(instance)->SetPosition(position) : 0;
}

// Tags are rewritten whole through "Set" with "IDTags"; single tags are not deleted.
WM_PLUGIN_EXPORT uint32_t DeleteATag(void*, void*, void*) {
    return 0;
}

static_assert(std::is_same_v<decltype(&Create), WmDecCreate>);
static_assert(std::is_same_v<decltype(&Destroy), WmDecDestroy>);
static_assert(std::is_same_v<decltype(&Get), WmDecGet>);
static_assert(std::is_same_v<decltype(&Set), WmDecSet>);
static_assert(std::is_same_v<decltype(&Open), WmDecOpen>);
static_assert(std::is_same_v<decltype(&Close), WmDecClose>);
static_assert(std::is_same_v<decltype(&DecodeBlock), WmDecDecodeBlock>);
static_assert(std::is_same_v<decltype(&SetPosition), WmDecSetPosition>);
static_assert(std::is_same_v<decltype(&DeleteATag), WmDecDeleteATag>);
