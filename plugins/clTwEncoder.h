// Binding to one encoder library ("encoder\<codec>.dll"): nine entry points and one instance.
#pragma once

#include "plugins/PluginBinding.h"
#include "sdk/wavemill_plugin.h"

#include <array>

namespace wm {

struct EncoderEntryPoints {
    WmEncCreate create = nullptr;
    WmEncDestroy destroy = nullptr;
    WmEncGet get = nullptr;
    WmEncSet set = nullptr;
    WmEncShowConfigBit showConfigBit = nullptr;
    WmEncRemoveConfigBit removeConfigBit = nullptr;
    WmEncBeginConversion beginConversion = nullptr;
    WmEncEndConversion endConversion = nullptr;
    WmEncEncodeBlock encodeBlock = nullptr;

    std::array<XDLL::EntryPoint, 9> Table();
};

// Required name (README, Glossary): "cl" marks the converter's own classes.
class clTwEncoder : public PluginBinding<EncoderEntryPoints> {
  public:
    uint32_t ShowConfigBit(void* argument1, void* argument2) {
        return Call(entry_.showConfigBit, argument1, argument2);
    }
    uint32_t RemoveConfigBit(void* argument) { return Call(entry_.removeConfigBit, argument); }
    uint32_t BeginConversion(ConversionInfo* conversion) {
        return Call(entry_.beginConversion, conversion);
    }
    // Sets *tagAfterwards to 0 first; the encoder raises it when the host is to write the tags.
    uint32_t EndConversion(ConversionInfo* conversion, uint32_t* tagAfterwards) {
        if (tagAfterwards)
            *tagAfterwards = 0;
        return Call(entry_.endConversion, conversion, tagAfterwards);
    }
    uint32_t EncodeBlock(AudioBlockInfo* block) { return Call(entry_.encodeBlock, block); }

    // "ENC_Get" with a record the caller filled (zeroed where unused).
    uint32_t GetValue(const char16_t* name, PluginValue& value) { return Get(name, &value); }
};

} // namespace wm
