// Binding to one DSP effect library ("DSPs\<name>.dll"): eleven entry points and one instance.
#pragma once

#include "plugins/XDLL.h"
#include "sdk/wavemill_plugin.h"

#include <array>

namespace wm {

class clTwDSP : public XDLL {
  public:
    struct EntryPoints {
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
    };

    clTwDSP() = default;
    ~clTwDSP() override;

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
    uint32_t BeginConversion(ConversionInfo* conversion, const char16_t* settings);
    uint32_t EndConversion(ConversionInfo* conversion);
    uint32_t PassAudioBlock(AudioBlockInfo* block);
    uint32_t PassNonLive(const char16_t* renderedPath, const WmWaveFormat* format,
                         const char16_t* settings, void* runValue);
    uint32_t AfterConversion(ConversionInfo* conversion);

  private:
    std::array<EntryPoint, 11> Table();

    void* instance_ = nullptr;
    EntryPoints entry_;
};

} // namespace wm
