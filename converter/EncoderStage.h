// The encoder as the last stage of the block flow. With live effects in the pass the encoder
// begins only when the first block has passed them, in the format they produce (a resampler
// changes the rate), which the source's format would misdescribe.
#pragma once

#include "flow/BlockFlow.h"
#include "plugins/clTwEncoder.h"
#include "sdk/wavemill_plugin.h"
#include "text/String.h"

#include <functional>

namespace wm {

class EncoderStage : public BlockStage {
  public:
    // Called with the first block's format when the encoder has not begun yet; none when it has.
    using Begin = std::function<bool(const WmWaveFormat&)>;
    EncoderStage(clTwEncoder& encoder, const String& codec, Begin beginOnFirstBlock)
        : encoder_(encoder), codec_(codec), begin_(std::move(beginOnFirstBlock)) {}
    bool Pass(AudioBlockInfo& block) override;

  private:
    clTwEncoder& encoder_;
    const String& codec_;
    Begin begin_;
};

} // namespace wm
