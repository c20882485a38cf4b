#include "tags/IDTagSet.h"
#include "tests/support/TagSamples.h"

#include <gtest/gtest.h>

#include <cstring>

namespace wm {
namespace {

using test::ByteList;
using test::SampleTags;

TEST(TagBlockTest, DocumentedLayout) {
    IDTagSet one;
    one.AddData(u"\u00E9", "\x07", 1);
    EXPECT_EQ(one.Serialize(), ByteList({1, 0, 0, 0, 11, 0, 0, 0, 0xE9, 0, 0, 0, 0, 0, 7}));
    EXPECT_EQ(one.SerializeNarrow(), ByteList({1, 0, 0, 0, 9, 0, 0, 0, 0xC3, 0xA9, 0, 0, 7}));
}

// Every cut of a block keeps a prefix of its entries; only the last may be incomplete.
TEST(TagBlockTest, EveryTruncationKeepsTheEntriesBeforeTheCut) {
    const IDTagSet full = SampleTags();
    for (bool narrow : {false, true}) {
        std::vector<uint8_t> block = narrow ? full.SerializeNarrow() : full.Serialize();
        for (size_t cut = 0; cut < block.size(); ++cut) {
            // A copy of exactly the cut length, so that reading past it is caught.
            std::vector<uint8_t> part(block.begin(), block.begin() + cut);
            IDTagSet set = SampleTags();
            narrow ? set.DeserializeNarrow(part.data(), cut) : set.Deserialize(part.data(), cut);
            ASSERT_LT(set.Count(), full.Count()) << cut;
            for (size_t i = 0; i + 1 < set.Count(); ++i)
                EXPECT_EQ(set.At(i).Name, full.At(i).Name) << cut;
        }
        IDTagSet back;
        narrow ? back.DeserializeNarrow(block.data(), block.size())
               : back.Deserialize(block.data(), block.size());
        ASSERT_EQ(back.Count(), full.Count());
        for (size_t i = 0; i < full.Count(); ++i)
            EXPECT_TRUE(back.At(i).Value == full.At(i).Value && back.At(i).Data == full.At(i).Data);
    }
}

TEST(TagBlockTest, LyingLengthsStopWithoutHugeAllocations) {
    IDTagSet one;
    one.Add(u"title", u"x");
    std::vector<uint8_t> good = one.Serialize();
    for (uint32_t length : {0xFFFFFFFFu, 0x80000000u, 1000u}) {
        std::vector<uint8_t> block = good;
        block[0] = 2; // a second record follows, with a length that lies
        for (int i = 0; i < 4; ++i)
            block.push_back(static_cast<uint8_t>(length >> (8 * i)));
        block.insert(block.end(), {'a', 0, 0, 0});
        IDTagSet set;
        set.Deserialize(block.data(), block.size());
        ASSERT_EQ(set.Count(), 1u) << length;
        EXPECT_EQ(set.At(0).Value, u"x");
    }
    // A huge count with one record reads just that record.
    std::vector<uint8_t> block = good;
    std::memset(block.data(), 0xFF, 4);
    one.Deserialize(block.data(), block.size());
    EXPECT_EQ(one.Count(), 1u);
    one.DeserializeNarrow(nullptr, 100);
    EXPECT_EQ(one.Count(), 0u);
}

// A record whose size ends right after its name is the last one read.
TEST(TagBlockTest, ARecordEndingAfterItsNameEndsTheBlock) {
    const std::vector<uint8_t> wide =
        ByteList({2, 0, 0, 0, 8, 0, 0, 0, 'a', 0, 'b', 0, 8, 0, 0, 0, 'c', 0, 0, 0});
    IDTagSet set;
    set.Deserialize(wide.data(), wide.size());
    EXPECT_EQ(set.Count(), 1u);
}

} // namespace
} // namespace wm
