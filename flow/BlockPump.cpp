#include "flow/BlockPump.h"

#include "contract/BlockRules.h"

#include <algorithm>

namespace wm {

namespace {
constexpr uint32_t kMaxEmpties = 4;

// The idle table for empty blocks in a row (1, 2, 3, 4 and more): 0, 25, 25, 50 ms, so a
// stalled source is polled every 50 ms at most and never spun on.
uint32_t IdleMs(uint32_t emptyBlocksInARow) {
    static constexpr uint32_t kIdleTableMs[] = {0, 0, 25, 25, 50};
    return kIdleTableMs[std::min(emptyBlocksInARow, kMaxEmpties)];
}

// The loop's contacts with the parent (its stop, the watchdog, the bytes encoded) are each a
// round trip through the system's server under Wine; on the short blocks of a fast codec they
// cost two conversions at once about 3 % of their time. One every 50 ms at most: a stop is still
// seen within that, the watchdog worker beats as often anyway, and a parent reads no oftener.
constexpr uint64_t kContactMs = 50;
} // namespace

BlockPump::BlockPump(BlockSource& source, std::span<BlockStage* const> stages, FlowHost& host,
                     RunStatus& status, PumpSettings settings)
    : source_(source), stages_(stages), host_(host), status_(status), settings_(settings) {}

void BlockPump::Run() {
    if (status_.Failed())
        return;
    for (;;) {
        Step step = Pump();
        if (step == Step::Fail)
            status_.Fail("the block loop stopped");
        // An error line logged by anyone (a stalled decoder included) ends the loop.
        if (step != Step::Next || status_.Failed())
            return;
    }
}

bool BlockPump::ContactDue() {
    const uint64_t now = host_.NowMs();
    if (contacted_ && now - lastContactMs_ < kContactMs)
        return false;
    contacted_ = true;
    lastContactMs_ = now;
    return true;
}

BlockPump::Step BlockPump::Pump() {
    const bool contact = ContactDue();
    if (contact && host_.QuitRequested())
        return Step::Stop; // the finish marks the run failed when it sees the event
    if (contact)
        host_.Heartbeat();
    AudioBlockInfo block{};
    if (!source_.NextBlock(block))
        return Step::Fail;
    if (settings_.parentMode)
        ReportChangedText(block.actionText, lastInput_, ParentKeyword::ActionInput);
    const bool end = block.endOfStream != 0;
    if (IsEmptyBlock(block) && !end) {
        empties_ = std::min(empties_ + 1, kMaxEmpties);
        host_.Idle(IdleMs(empties_));
        return Step::Next;
    }
    empties_ = 0;
    Step outcome = Step::Next;
    if (!settings_.keepTornBlocks && !WholeFrames(block, outcome))
        return outcome;
    ReportProgress(block.msPosition, contact || end);
    if (!PassThroughStages(block))
        return Step::Fail;
    bytesEncoded_ += block.length;
    if (settings_.publishBytes && (contact || end))
        host_.StoreBytesEncoded(bytesEncoded_);
    return end ? Step::Stop : Step::Next;
}

bool BlockPump::WholeFrames(AudioBlockInfo& block, Step& outcome) {
    const TornBlock torn = TornBlockOutcome(block);
    if (torn == TornBlock::Whole)
        return true;
    if (torn == TornBlock::DropBlock) {
        // The whole last block goes: a torn frame at the end is not worth a failed run.
        host_.Information(u"Information: Audio data contains incomplete samples at end.");
        outcome = Step::Stop;
    } else {
        host_.Error(u"Error: Audio data contains incomplete samples mid-stream.");
        outcome = Step::Fail;
    }
    return false;
}

// A parent's percent line is a round trip too: only at a contact, or with the last block.
void BlockPump::ReportProgress(uint64_t msPosition, bool parentLineDue) {
    const uint64_t msLen = settings_.msLength ? settings_.msLength : 1;
    const auto percent = static_cast<uint32_t>(std::min<uint64_t>(100, msPosition * 100 / msLen));
    if (settings_.parentMode) {
        if (percent > reported_ && parentLineDue) {
            reported_ = percent;
            host_.ParentLine(ParentKeyword::PCDone, Widen(std::to_string(percent)) + u" %");
        }
        return;
    }
    if (settings_.bar)
        settings_.bar->Percent(percent);
}

bool BlockPump::PassThroughStages(AudioBlockInfo& block) {
    for (BlockStage* stage : stages_) {
        block.actionText = nullptr; // only the encoder's own text is reported
        if (!stage->Pass(block))
            return false;
    }
    if (settings_.parentMode)
        ReportChangedText(block.actionText, lastOutput_, ParentKeyword::ActionOutput);
    return true;
}

void BlockPump::ReportChangedText(const WmChar* text, String& last, ParentKeyword keyword) {
    if (!text || last == text)
        return;
    last = text;
    host_.ParentLine(keyword, last);
}

} // namespace wm
