// The run's DSP effects in the user's order: loading (live or not), the per-block pass of the
// live ones as one stage of the block flow, and the calls at the begin, end and after the
// conversion. Rendering the non-live effects into a file is DspRender's.
#pragma once

#include "flow/BlockFlow.h"
#include "plugins/clTwDSP.h"
#include "text/String.h"

#include <memory>
#include <vector>

namespace wm {

struct DspEntry {
    String name;
    String settings;
    std::unique_ptr<clTwDSP> binding = std::make_unique<clTwDSP>();
    bool live = false;
    bool changesLevel = false; // its answer to "ChangesLevel"
    bool livePass = true;      // cleared once the effect was applied while rendering
};

class DspChain : public BlockStage {
  public:
    DspChain(String programFolder, void* hostContext, uint32_t batchId);

    void Add(String name, String settings);
    bool Empty() const { return entries_.empty(); }
    std::vector<DspEntry>& Entries() { return entries_; }
    // "Volume, Resample" for the console's settings echo.
    String Names() const;

    // Loads every effect, last to first; *replayGain tells whether any wants replay-gain tags.
    bool Load(bool* replayGain);
    void EchoSettings(const String& codec, const String& encoderCommandLine) const;

    bool HasNonLive() const;
    // True when any effect changes the level: the source's replay-gain values no longer hold.
    bool ChangesLevel() const;
    bool HasLivePass() const;
    bool BeginLive(ConversionInfo& conversion);
    bool Pass(AudioBlockInfo& block) override; // every live effect still in the per-block pass
    bool EndLive(ConversionInfo& conversion);
    bool AfterConversion(const ConversionInfo& conversion, const StringList& outputFiles);

    // The error line for an effect's entry point that returned 0, with the effect's reason.
    static bool FailedCall(DspEntry& entry, const char16_t* call);
    // One effect's pass of one block: false, with an error line, when the call fails or the
    // effect hands back a torn frame.
    static bool PassOne(DspEntry& entry, AudioBlockInfo& block);

    // The path of "DSPs\<name>.dll".
    String LibraryPath(const String& name) const;

  private:
    bool LoadEntry(DspEntry& entry, bool* replayGain, bool* keep);

    String programFolder_;
    void* hostContext_;
    uint32_t batchId_;
    std::vector<DspEntry> entries_;
};

} // namespace wm
