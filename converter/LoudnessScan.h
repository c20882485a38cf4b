// The measuring stage of a -replaygain run: it sits just before the encoder, so it measures what
// the encoder gets (after every effect), in the same pass and without changing a block.
#pragma once

#include "plugins/BlockFlow.h"
#include "tags/ReplayGain.h"
#include "text/String.h"

#include <memory>
#include <vector>

namespace wm {

class LoudnessScan final : public BlockStage {
  public:
    // The host hears why, once, when the audio cannot be measured.
    LoudnessScan(bool truePeak, FlowHost& host);
    ~LoudnessScan() override;
    LoudnessScan(const LoudnessScan&) = delete;
    LoudnessScan& operator=(const LoudnessScan&) = delete;

    bool Pass(AudioBlockInfo& block) override;
    // After the last block: the track's loudness, peak and gating blocks. False when the audio
    // could not be measured.
    bool Result(LoudnessRecord& out);

  private:
    bool Start(const WmWaveFormat& format);
    bool Add(const double* samples, size_t frames);
    bool Failed(StringView why);

    struct Meter; // libebur128's state, owned
    bool truePeak_;
    FlowHost& host_;
    std::unique_ptr<Meter> meter_;
    WmWaveFormat format_{};
    size_t framesPerStep_ = 0; // 100 ms: the gating blocks' step
    size_t framesToBlock_ = 0; // until the next gating block is complete
    std::vector<double> samples_;
    GatingBlocks blocks_;
    String fault_;
};

} // namespace wm
