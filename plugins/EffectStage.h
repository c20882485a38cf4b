// One live effect as a stage of its own, for a pass over the rendered file that applies that
// effect alone (the live pass of the whole chain is DspChain itself).
#pragma once

#include "flow/BlockFlow.h"
#include "plugins/DspChain.h"

namespace wm {

class EffectStage : public BlockStage {
  public:
    explicit EffectStage(DspEntry& entry) : entry_(entry) {}
    bool Pass(AudioBlockInfo& block) override { return DspChain::PassOne(entry_, block); }

  private:
    DspEntry& entry_;
};

} // namespace wm
