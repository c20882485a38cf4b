#include "contract/BlockRules.h"

#include "contract/FormatRules.h"

namespace wm {

bool IsEmptyBlock(const AudioBlockInfo& block) {
    return !block.data || block.length == 0;
}

TornBlock TornBlockOutcome(const AudioBlockInfo& block) {
    if (IsWholeFrames(block.length, block.format))
        return TornBlock::Whole;
    return block.endOfStream ? TornBlock::DropBlock : TornBlock::FailRun;
}

std::string TornBlockConsequence(TornBlock outcome) {
    switch (outcome) {
    case TornBlock::DropBlock:
        return "the host drops this whole last block, its audio included, and notes "
               "\"Audio data contains incomplete samples at end.\"";
    case TornBlock::FailRun:
        return "the host fails the run with \"Audio data contains incomplete samples "
               "mid-stream.\"";
    case TornBlock::Whole:
        break;
    }
    return {};
}

uint64_t ExpectedPositionMs(uint64_t bytesBefore, const WmWaveFormat& format) {
    return BytesToMs(bytesBefore, format);
}

} // namespace wm
