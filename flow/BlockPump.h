// The block loop: pulls blocks from one source and passes each through a list of stages (the
// live effects, then the encoder), with the loop's rules: quit, heartbeat, bytes encoded and the
// parent's percent line (at most every 50 ms), back-off on empty blocks, whole frames only,
// percent, progress marks and parent lines.
// Portable: the platform supplies events, sleeping and output through FlowHost.
#pragma once

#include "flow/BlockFlow.h"
#include "flow/ProgressBar.h"
#include "flow/RunStatus.h"
#include "sdk/wavemill_plugin.h"
#include "text/String.h"

#include <cstdint>
#include <span>

namespace wm {

struct PumpSettings {
    uint64_t msLength = 0; // source length; 0 when unknown
    bool parentMode = false;
    ProgressBar* bar = nullptr; // console marks; none when silent or in parent mode
    // Rendering writes every block whole, torn or not: the read-back drops the torn part.
    bool keepTornBlocks = false;
    // The shared bytes-encoded block; an effect's pass over the rendered file leaves it alone,
    // so a parent sees the render's total until the encoding starts again from 0.
    bool publishBytes = true;
};

class BlockPump {
  public:
    BlockPump(BlockSource& source, std::span<BlockStage* const> stages, FlowHost& host,
              RunStatus& status, PumpSettings settings);
    void Run();
    uint64_t BytesEncoded() const { return bytesEncoded_; }

  private:
    enum class Step { Next, Stop, Fail };
    Step Pump();
    bool ContactDue();
    bool WholeFrames(AudioBlockInfo& block, Step& outcome);
    void ReportProgress(uint64_t msPosition, bool parentLineDue);
    bool PassThroughStages(AudioBlockInfo& block);
    void ReportChangedText(const WmChar* text, String& last, ParentKeyword keyword);

    BlockSource& source_;
    std::span<BlockStage* const> stages_;
    FlowHost& host_;
    RunStatus& status_;
    PumpSettings settings_;
    uint32_t reported_ = 0, empties_ = 0;
    uint64_t bytesEncoded_ = 0;
    bool contacted_ = false;
    uint64_t lastContactMs_ = 0;
    String lastInput_, lastOutput_;
};

} // namespace wm
