// The rules for the audio blocks that travel from a source through the live effects to the
// encoder: what counts as empty, how the stream ends, what a torn block costs, where a block is.
#pragma once

#include "sdk/wavemill_plugin.h"

#include <cstdint>
#include <string>

namespace wm {

// No data pointer or no bytes. An empty block without the end flag is one the host waits out
// (idling), however many come: a source that never sets the end flag holds the run forever.
bool IsEmptyBlock(const AudioBlockInfo& block);

// What the host does with a block that is not whole frames of the format it carries.
enum class TornBlock {
    Whole,     // nothing: the block is whole frames
    DropBlock, // the block carries the end flag: it is dropped whole, audio and all
    FailRun,   // any other block: the run fails
};
TornBlock TornBlockOutcome(const AudioBlockInfo& block);
// The host's answer to a torn block in plain words, for a report ("the host ...").
std::string TornBlockConsequence(TornBlock outcome);

// Where a block must say it starts: the bytes delivered before it, as time in its format.
uint64_t ExpectedPositionMs(uint64_t bytesBefore, const WmWaveFormat& format);

} // namespace wm
