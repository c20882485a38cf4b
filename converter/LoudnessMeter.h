// EBU R128 loudness of one track through libebur128: the energy of every 400 ms gating block,
// the integrated loudness gated over them (as an album's is gated over all its tracks' blocks),
// and the sample or true peak. A peak-only meter reads no gating blocks.
#pragma once

#include "sdk/wavemill_plugin.h"
#include "tags/ReplayGain.h"
#include "text/String.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace wm {

enum class MeterUse { LoudnessAndPeak, PeakOnly };

class LoudnessMeter {
  public:
    explicit LoudnessMeter(bool truePeak, MeterUse use = MeterUse::LoudnessAndPeak);
    ~LoudnessMeter();
    LoudnessMeter(const LoudnessMeter&) = delete;
    LoudnessMeter& operator=(const LoudnessMeter&) = delete;

    // Measures one block of PCM; false, with Fault(), when it cannot.
    bool Add(const WmWaveFormat& format, const void* data, size_t bytes);
    // After the last block; false, with Fault(), when the meter gives no values.
    bool Result(LoudnessRecord& out);
    // After the last block: the largest channel's peak (0 when nothing was measured).
    bool Peak(double& out);
    const String& Fault() const { return fault_; }

  private:
    struct State; // libebur128's, owned
    bool Start(const WmWaveFormat& format);
    template <typename Sample> bool Feed(const Sample* samples, size_t frames);
    bool StepEnded();
    bool Failed(StringView why);

    static constexpr unsigned kStepMs = 100;      // gating blocks start every 100 ms
    static constexpr unsigned kStepsPerBlock = 4; // and last 400 ms

    const bool truePeak_;
    const MeterUse use_;
    bool started_ = false;
    std::unique_ptr<State> state_; // none for the sample peak alone
    double samplePeak_ = 0;        // what measures it then
    WmWaveFormat format_{};
    size_t framesPerStep_ = 0;     // 100 ms: the gating blocks' step
    size_t framesToStep_ = 0;      // until the next step is complete
    bool stepsAreWindows_ = false; // the meter reads one step's energy exactly
    size_t steps_ = 0;
    std::array<double, kStepsPerBlock> recentSteps_{}; // energies, by step number modulo 4
    std::vector<int32_t> widened_;                     // 8-bit and 24-bit samples, for the meter
    GatingBlocks blocks_;
    String fault_;
};

} // namespace wm
