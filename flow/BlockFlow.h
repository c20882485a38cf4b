// How audio blocks flow through a run: a source hands out blocks, stages take them (live
// effects, then the encoder), and the host supplies the platform's part (events, sleeping,
// output). Portable, so the loops that use them are tested natively.
#pragma once

#include "protocol/ParentLine.h"
#include "sdk/wavemill_plugin.h"
#include "text/String.h"

#include <cstdint>

namespace wm {

class BlockSource {
  public:
    virtual ~BlockSource() = default;
    // Fills a zeroed record with the next block (possibly empty). False: the source failed.
    virtual bool NextBlock(AudioBlockInfo& block) = 0;
};

class BlockStage {
  public:
    virtual ~BlockStage() = default;
    // Takes the block and may replace its data, length and format. False stops the run.
    virtual bool Pass(AudioBlockInfo& block) = 0;
};

class FlowHost {
  public:
    virtual ~FlowHost() = default;
    virtual bool QuitRequested() = 0;
    virtual void Heartbeat() = 0;
    virtual void Idle(uint32_t ms) = 0;
    virtual uint64_t NowMs() = 0;                   // a steady clock
    virtual void ProgressMarks(uint32_t count) = 0; // console "*" marks to add
    // One line for the parent (protocol/ParentLine.h); only called in parent mode.
    virtual void ParentLine(ParentKeyword keyword, StringView text) = 0;
    virtual void StoreBytesEncoded(uint64_t total) = 0;
    virtual void Information(StringView text) = 0;
    virtual void Error(StringView text) = 0;
};

} // namespace wm
