// Binding to one encoder library ("encoder\<codec>.dll"): nine entry points and one instance.
#pragma once

#include "plugins/XDLL.h"
#include "sdk/wavemill_plugin.h"

#include <array>

namespace wm {

class clTwEncoder : public XDLL {
  public:
    struct EntryPoints {
        WmEncCreate create = nullptr;
        WmEncDestroy destroy = nullptr;
        WmEncGet get = nullptr;
        WmEncSet set = nullptr;
        WmEncShowConfigBit showConfigBit = nullptr;
        WmEncRemoveConfigBit removeConfigBit = nullptr;
        WmEncBeginConversion beginConversion = nullptr;
        WmEncEndConversion endConversion = nullptr;
        WmEncEncodeBlock encodeBlock = nullptr;
    };

    clTwEncoder() = default;
    ~clTwEncoder() override;

    bool Load(const String& path) override;

    bool CreateInstance(void* hostContext);
    void DestroyInstance();
    // Destroys the instance, frees any library, clears the entry points, then loads `path`.
    bool Reload(const String& path);
    void Unload();

    bool HasInstance() const { return instance_ != nullptr; }
    const EntryPoints& Entries() const { return entry_; }

    // Thin calls: 0 without calling anything when there is no instance or no entry point.
    uint32_t Get(const char16_t* name, PluginValue* value);
    uint32_t Set(const char16_t* name, PluginValue* value);
    uint32_t ShowConfigBit(void* argument1, void* argument2);
    uint32_t RemoveConfigBit(void* argument);
    uint32_t BeginConversion(ConversionInfo* conversion);
    // Sets *tagAfterwards to 0 first; the encoder raises it when the host is to write the tags.
    uint32_t EndConversion(ConversionInfo* conversion, uint32_t* tagAfterwards);
    uint32_t EncodeBlock(AudioBlockInfo* block);

    // "ENC_Get" with a record the caller filled (zeroed where unused).
    uint32_t GetValue(const char16_t* name, PluginValue& value) { return Get(name, &value); }

  private:
    std::array<EntryPoint, 9> Table();

    void* instance_ = nullptr;
    EntryPoints entry_;
};

} // namespace wm
