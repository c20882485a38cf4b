// The contract's rules as both the host and plugin-check apply them.
#include "contract/BlockRules.h"
#include "contract/FormatRules.h"
#include "contract/TagBlockRule.h"
#include "tags/IDTagSet.h"
#include "tests/support/TagSamples.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace wm {
namespace {

using test::ByteList;
using test::SampleTags;

TEST(TagBlockRuleTest, WellFormedOnlyWhenEveryRecordEndsExactly) {
    const std::vector<uint8_t> block = SampleTags().Serialize();
    EXPECT_TRUE(TagBlockIsWellFormed(block.data(), block.size()));
    EXPECT_TRUE(TagBlockIsWellFormed("\0\0\0\0", 4)); // the empty list
    for (size_t cut = 0; cut < block.size(); ++cut)
        EXPECT_FALSE(TagBlockIsWellFormed(block.data(), cut)) << cut;
    std::vector<uint8_t> longer = block;
    longer.push_back(0);
    EXPECT_FALSE(TagBlockIsWellFormed(longer.data(), longer.size()));
    // Text that is not a tag block: a plausible count, then garbage lengths.
    const char text[] = "title=Hello\nartist=Someone\n";
    EXPECT_FALSE(TagBlockIsWellFormed(text, sizeof text - 1));
    // A record whose name is empty.
    EXPECT_FALSE(TagBlockIsWellFormed(ByteList({1, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0}).data(), 12));
}

// A value without its terminator is what a plug-in writing "name=value" pairs by hand gets
// wrong; the words name the entry and the missing terminator.
TEST(TagBlockRuleTest, NamesTheEntryAndTheMissingTerminator) {
    // One entry "a" with the value "b" and no terminator after it.
    const auto block = ByteList({1, 0, 0, 0, 10, 0, 0, 0, 'a', 0, 0, 0, 'b', 0});
    EXPECT_EQ(TagBlockProblem(block.data(), block.size()),
              "entry 1's value has no 0 terminator inside its record (an empty value is one 0 "
              "character)");
    const auto noName = ByteList({1, 0, 0, 0, 6, 0, 0, 0, 'a', 0});
    EXPECT_NE(TagBlockProblem(noName.data(), noName.size()).find("is below 8"), std::string::npos);
}

// Each fault is told apart from the others, by kind and by its name in the table.
TEST(TagBlockRuleTest, EachFaultIsFoundAndNamed) {
    const struct {
        std::vector<uint8_t> block;
        TagBlockFault fault;
    } cases[] = {
        {ByteList({1, 0}), TagBlockFault::NoCount},
        {ByteList({2, 0, 0, 0, 12, 0, 0, 0, 'a', 0, 0, 0, 'b', 0, 0, 0}), TagBlockFault::EndsEarly},
        {ByteList({1, 0, 0, 0, 6, 0, 0, 0, 'a', 0}), TagBlockFault::RecordTooShort},
        {ByteList({1, 0, 0, 0, 90, 0, 0, 0, 'a', 0, 0, 0}), TagBlockFault::RecordPastEnd},
        {ByteList({1, 0, 0, 0, 8, 0, 0, 0, 'a', 0, 'b', 0}), TagBlockFault::NameUnterminated},
        {ByteList({1, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0}), TagBlockFault::NameEmpty},
        {ByteList({1, 0, 0, 0, 10, 0, 0, 0, 'a', 0, 0, 0, 'b', 0}),
         TagBlockFault::ValueUnterminated},
        {ByteList({1, 0, 0, 0, 12, 0, 0, 0, 'a', 0, 0, 0, 'b', 0, 0, 0, 7}),
         TagBlockFault::SizeMismatch},
    };
    std::set<std::string> names{TagBlockFaultName(TagBlockFault::None)};
    for (const auto& c : cases) {
        EXPECT_EQ(FindTagBlockFault(c.block.data(), c.block.size()), c.fault)
            << TagBlockFaultName(c.fault);
        EXPECT_FALSE(TagBlockProblem(c.block.data(), c.block.size()).empty());
        EXPECT_TRUE(names.insert(TagBlockFaultName(c.fault)).second) << TagBlockFaultName(c.fault);
    }
}

WmWaveFormat Pcm(uint16_t channels, uint32_t rate, uint16_t bits) {
    WmWaveFormat f{};
    f.formatTag = WM_FORMAT_PCM;
    f.channels = channels;
    f.samplesPerSec = rate;
    f.bitsPerSample = bits;
    f.blockAlign = static_cast<uint16_t>(channels * ((bits + 7) / 8));
    f.avgBytesPerSec = rate * f.blockAlign;
    return f;
}

TEST(FormatRulesTest, ArithmeticAndProblems) {
    const WmWaveFormat f = Pcm(6, 96000, 24);
    EXPECT_EQ(FrameBytes(f), 18u);
    EXPECT_TRUE(IsWholeFrames(18 * 7, f));
    EXPECT_FALSE(IsWholeFrames(18 * 7 + 4, f));
    EXPECT_EQ(BytesToMs(f.avgBytesPerSec * 3ull, f), 3000u);
    EXPECT_EQ(FormatProblem(f), "");
    WmWaveFormat sizedFor16 = f;
    sizedFor16.blockAlign = 12; // channels x 2, as a decoder written for 16 bits computes it
    EXPECT_NE(FormatProblem(sizedFor16).find("blockAlign 12 is not channels x bytes per sample"),
              std::string::npos);
    WmWaveFormat zero{};
    EXPECT_EQ(FrameBytes(zero), 1u); // nothing divides by 0
    EXPECT_EQ(BytesToMs(5, zero), 5000u);
}

TEST(FormatRulesTest, EachFaultIsFoundAndNamed) {
    const WmWaveFormat sound = Pcm(2, 44100, 16);
    WmWaveFormat tag = sound, zero = sound, align = sound, rate = sound, extensible = sound;
    tag.formatTag = 2;
    zero.channels = 0;
    align.blockAlign = 2;
    rate.avgBytesPerSec = 44100;
    extensible.formatTag = WM_FORMAT_EXTENSIBLE;
    extensible.cbSize = 0;
    const std::pair<WmWaveFormat, FormatFault> cases[] = {
        {sound, FormatFault::None},     {tag, FormatFault::UnknownTag},
        {zero, FormatFault::ZeroField}, {align, FormatFault::BlockAlign},
        {rate, FormatFault::ByteRate},  {extensible, FormatFault::Extensible}};
    std::set<std::string> names;
    for (const auto& [format, fault] : cases) {
        EXPECT_EQ(FindFormatFault(format), fault) << FormatFaultName(fault);
        EXPECT_EQ(FormatProblem(format).empty(), fault == FormatFault::None);
        EXPECT_TRUE(names.insert(FormatFaultName(fault)).second) << FormatFaultName(fault);
    }
}

// A torn block fails the run mid-stream and is dropped whole when it carries the end flag.
TEST(BlockRulesTest, TornBlocksAndEmptyBlocks) {
    uint8_t audio[8] = {};
    AudioBlockInfo block{};
    block.format = Pcm(2, 44100, 16);
    block.data = audio;
    block.length = 6;
    EXPECT_EQ(TornBlockOutcome(block), TornBlock::FailRun);
    block.endOfStream = 1;
    EXPECT_EQ(TornBlockOutcome(block), TornBlock::DropBlock);
    block.length = 8;
    EXPECT_EQ(TornBlockOutcome(block), TornBlock::Whole);
    EXPECT_FALSE(IsEmptyBlock(block));
    block.data = nullptr;
    EXPECT_TRUE(IsEmptyBlock(block));
    EXPECT_EQ(ExpectedPositionMs(44100 * 4, block.format), 1000u);
}

} // namespace
} // namespace wm
