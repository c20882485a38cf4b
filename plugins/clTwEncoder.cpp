#include "plugins/clTwEncoder.h"

namespace wm {

clTwEncoder::~clTwEncoder() {
    DestroyInstance();
}

std::array<XDLL::EntryPoint, 9> clTwEncoder::Table() {
    return {Slot("ENC_Create", entry_.create),
            Slot("ENC_Destroy", entry_.destroy),
            Slot("ENC_Get", entry_.get),
            Slot("ENC_Set", entry_.set),
            Slot("ENC_ShowConfigBit", entry_.showConfigBit),
            Slot("ENC_RemoveConfigBit", entry_.removeConfigBit),
            Slot("ENC_BeginConversion", entry_.beginConversion),
            Slot("ENC_EndConversion", entry_.endConversion),
            Slot("ENC_EncodeBlock", entry_.encodeBlock)};
}

bool clTwEncoder::Load(const String& path) {
    const auto table = Table();
    return LoadAndResolve(path, table);
}

bool clTwEncoder::CreateInstance(void* hostContext) {
    DestroyInstance();
    if (entry_.create)
        instance_ = entry_.create(hostContext);
    return instance_ != nullptr;
}

void clTwEncoder::DestroyInstance() {
    if (instance_ && entry_.destroy)
        entry_.destroy(instance_);
    instance_ = nullptr;
}

bool clTwEncoder::Reload(const String& path) {
    Unload();
    return Load(path);
}

void clTwEncoder::Unload() {
    DestroyInstance();
    FreeLibrary();
    entry_ = {};
}

uint32_t clTwEncoder::Get(const char16_t* name, PluginValue* value) {
    return instance_ && entry_.get ? entry_.get(instance_, name, value) : 0;
}

uint32_t clTwEncoder::Set(const char16_t* name, PluginValue* value) {
    return instance_ && entry_.set ? entry_.set(instance_, name, value) : 0;
}

uint32_t clTwEncoder::ShowConfigBit(void* argument1, void* argument2) {
    return instance_ && entry_.showConfigBit ? entry_.showConfigBit(instance_, argument1, argument2)
                                             : 0;
}

uint32_t clTwEncoder::RemoveConfigBit(void* argument) {
    return instance_ && entry_.removeConfigBit ? entry_.removeConfigBit(instance_, argument) : 0;
}

uint32_t clTwEncoder::BeginConversion(ConversionInfo* conversion) {
    return instance_ && entry_.beginConversion ? entry_.beginConversion(instance_, conversion) : 0;
}

uint32_t clTwEncoder::EndConversion(ConversionInfo* conversion, uint32_t* tagAfterwards) {
    if (tagAfterwards)
        *tagAfterwards = 0;
    return instance_ && entry_.endConversion
               ? entry_.endConversion(instance_, conversion, tagAfterwards)
               : 0;
}

uint32_t clTwEncoder::EncodeBlock(AudioBlockInfo* block) {
    return instance_ && entry_.encodeBlock ? entry_.encodeBlock(instance_, block) : 0;
}

} // namespace wm
