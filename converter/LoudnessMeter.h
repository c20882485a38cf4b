// EBU R128 loudness of one track through libebur128: the energy of every 400 ms gating block,
// the integrated loudness gated over them (as an album's is gated over all its tracks' blocks),
// and the sample or true peak.
#pragma once

#include "sdk/wavemill_plugin.h"
#include "tags/ReplayGain.h"
#include "text/String.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace wm {

class LoudnessMeter {
  public:
    explicit LoudnessMeter(bool truePeak);
    ~LoudnessMeter();
    LoudnessMeter(const LoudnessMeter&) = delete;
    LoudnessMeter& operator=(const LoudnessMeter&) = delete;

    // Measures one block of PCM; false, with Fault(), when it cannot.
    bool Add(const WmWaveFormat& format, const void* data, size_t bytes);
    // After the last block; false, with Fault(), when the meter gives no values.
    bool Result(LoudnessRecord& out);
    const String& Fault() const { return fault_; }

  private:
    struct State; // libebur128's, owned
    bool Start(const WmWaveFormat& format);
    template <typename Sample> bool Feed(const Sample* samples, size_t frames);
    bool Failed(StringView why);

    const bool truePeak_;
    std::unique_ptr<State> state_;
    WmWaveFormat format_{};
    size_t framesPerStep_ = 0;     // 100 ms: the gating blocks' step
    size_t framesToBlock_ = 0;     // until the next gating block is complete
    std::vector<int32_t> widened_; // 8-bit and 24-bit samples, for the meter
    GatingBlocks blocks_;
    String fault_;
};

} // namespace wm
