// One effect instance behind the eleven DSP entry points. Each effect library defines
// MakeEffect(); DspExports.cpp turns the entry points into calls of the instance.
#pragma once

#include <sdk/wavemill_plugin.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace wm::dsp {

class DspEffect {
  public:
    virtual ~DspEffect() = default;

    // "IsLive" (whatever the settings say), "LastError" and "Information"; 0 for every other
    // name.
    uint32_t Get(const char16_t* name, PluginValue* value) const;

    virtual bool IsLive() const = 0;
    // The settings, one per line, for "Help" ("gain=<dB>   gain in decibels").
    virtual const char16_t* Help() const = 0;
    // Whether the effect with these settings changes the level ("ChangesLevel").
    virtual bool ChangesLevel(const char16_t* /*settings*/) const { return false; }
    virtual bool Begin(const char16_t* settings);
    virtual bool Pass(AudioBlockInfo& block);
    virtual bool End();
    virtual bool PassNonLive(const char16_t* path, const WmWaveFormat& format,
                             const char16_t* settings);

    // Sets the reason the host reads through "LastError"; always false, so that a failing
    // step can `return Fail(...)`.
    bool Fail(std::u16string why);
    // A new call starts without the previous call's reason.
    void ClearError() { lastError_.clear(); }

  protected:
    // A line that is not an error, for the host's "Information" question after the end.
    void Inform(std::u16string line);
    // Says how many samples were clipped after `step` ("the gain"), if any, and starts afresh.
    void InformClipped(uint64_t& clipped, std::u16string_view step);
    // A new conversion starts without the previous one's lines.
    void ClearInformation() { information_.clear(); }

  private:
    std::u16string lastError_;
    std::vector<std::u16string> information_;
};

std::unique_ptr<DspEffect> MakeEffect();

} // namespace wm::dsp
