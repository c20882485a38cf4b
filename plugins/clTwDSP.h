// Binding to one DSP effect library ("DSPs\<name>.dll"): eleven entry points and one instance.
#pragma once

#include "plugins/PluginBinding.h"
#include "sdk/wavemill_plugin.h"

#include <array>

namespace wm {

struct DspEntryPoints {
    WmDspCreate create = nullptr;
    WmDspDestroy destroy = nullptr;
    WmDspGet get = nullptr;
    WmDspSet set = nullptr;
    WmDspShowConfigBit showConfigBit = nullptr;
    WmDspRemoveConfigBit removeConfigBit = nullptr;
    WmDspBeginConversion beginConversion = nullptr;
    WmDspEndConversion endConversion = nullptr;
    WmDspPassAudioBlock passAudioBlock = nullptr;
    WmDspPassNonLive passNonLive = nullptr;
    WmDspAfterConversion afterConversion = nullptr;

    std::array<XDLL::EntryPoint, 11> Table();
};

// Required name (README, Glossary): "cl" marks the converter's own classes.
class clTwDSP : public PluginBinding<DspEntryPoints> {
  public:
    uint32_t ShowConfigBit(void* argument1, void* argument2) {
        return Call(entry_.showConfigBit, argument1, argument2);
    }
    uint32_t RemoveConfigBit(void* argument) { return Call(entry_.removeConfigBit, argument); }
    uint32_t BeginConversion(ConversionInfo* conversion, const char16_t* settings) {
        return Call(entry_.beginConversion, conversion, settings);
    }
    uint32_t EndConversion(ConversionInfo* conversion) {
        return Call(entry_.endConversion, conversion);
    }
    uint32_t PassAudioBlock(AudioBlockInfo* block) { return Call(entry_.passAudioBlock, block); }
    uint32_t PassNonLive(const char16_t* renderedPath, const WmWaveFormat* format,
                         const char16_t* settings, void* runValue) {
        return Call(entry_.passNonLive, renderedPath, format, settings, runValue);
    }
    uint32_t AfterConversion(ConversionInfo* conversion) {
        return Call(entry_.afterConversion, conversion);
    }
};

} // namespace wm
