#include "plugins/clTwDSP.h"

namespace wm {

clTwDSP::~clTwDSP() {
    DestroyInstance();
}

std::array<XDLL::EntryPoint, 11> clTwDSP::Table() {
    return {Slot("DSP_Create", entry_.create),
            Slot("DSP_Destroy", entry_.destroy),
            Slot("DSP_Get", entry_.get),
            Slot("DSP_Set", entry_.set),
            Slot("DSP_ShowConfigBit", entry_.showConfigBit),
            Slot("DSP_RemoveConfigBit", entry_.removeConfigBit),
            Slot("DSP_BeginConversion", entry_.beginConversion),
            Slot("DSP_EndConversion", entry_.endConversion),
            Slot("DSP_PassAudioBlock", entry_.passAudioBlock),
            Slot("DSP_PassNonLive", entry_.passNonLive),
            Slot("DSP_AfterConversion", entry_.afterConversion)};
}

bool clTwDSP::Load(const String& path) {
    const auto table = Table();
    return LoadAndResolve(path, table);
}

bool clTwDSP::CreateInstance(void* hostContext) {
    DestroyInstance();
    if (entry_.create)
        instance_ = entry_.create(hostContext);
    return instance_ != nullptr;
}

void clTwDSP::DestroyInstance() {
    if (instance_ && entry_.destroy)
        entry_.destroy(instance_);
    instance_ = nullptr;
}

bool clTwDSP::Reload(const String& path) {
    Unload();
    return Load(path);
}

void clTwDSP::Unload() {
    DestroyInstance();
    FreeLibrary();
    entry_ = {};
}

uint32_t clTwDSP::Get(const char16_t* name, PluginValue* value) {
    return instance_ && entry_.get ? entry_.get(instance_, name, value) : 0;
}

uint32_t clTwDSP::Set(const char16_t* name, PluginValue* value) {
    return instance_ && entry_.set ? entry_.set(instance_, name, value) : 0;
}

uint32_t clTwDSP::ShowConfigBit(void* argument1, void* argument2) {
    return instance_ && entry_.showConfigBit ? entry_.showConfigBit(instance_, argument1, argument2)
                                             : 0;
}

uint32_t clTwDSP::RemoveConfigBit(void* argument) {
    return instance_ && entry_.removeConfigBit ? entry_.removeConfigBit(instance_, argument) : 0;
}

uint32_t clTwDSP::BeginConversion(ConversionInfo* conversion, const char16_t* settings) {
    return instance_ && entry_.beginConversion
               ? entry_.beginConversion(instance_, conversion, settings)
               : 0;
}

uint32_t clTwDSP::EndConversion(ConversionInfo* conversion) {
    return instance_ && entry_.endConversion ? entry_.endConversion(instance_, conversion) : 0;
}

uint32_t clTwDSP::PassAudioBlock(AudioBlockInfo* block) {
    return instance_ && entry_.passAudioBlock ? entry_.passAudioBlock(instance_, block) : 0;
}

uint32_t clTwDSP::PassNonLive(const char16_t* renderedPath, const WmWaveFormat* format,
                              const char16_t* settings, void* runValue) {
    return instance_ && entry_.passNonLive
               ? entry_.passNonLive(instance_, renderedPath, format, settings, runValue)
               : 0;
}

uint32_t clTwDSP::AfterConversion(ConversionInfo* conversion) {
    return instance_ && entry_.afterConversion ? entry_.afterConversion(instance_, conversion) : 0;
}

} // namespace wm
