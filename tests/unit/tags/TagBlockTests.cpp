#include "tags/IDTagSet.h"

#include <gtest/gtest.h>

#include <cstring>

namespace wm {
namespace {

IDTagSet Sample() {
    IDTagSet set;
    set.Add(u"title", u"Caf\u00E9 \U0001F3B5");
    set.Add(u"empty", u"");
    set.Add(u"artist", u"A\rB");
    const uint8_t picture[] = {0xFF, 0xD8, 0x00, 0x01, 0xFF};
    set.AddData(u"_albumart_1_Front Album Cover", picture, sizeof picture);
    return set;
}

void ExpectSame(const IDTagSet& a, const IDTagSet& b) {
    ASSERT_EQ(a.Count(), b.Count());
    for (size_t i = 0; i < a.Count(); ++i) {
        EXPECT_EQ(a.At(i).Name, b.At(i).Name) << i;
        EXPECT_EQ(a.At(i).Value, b.At(i).Value) << i;
        EXPECT_EQ(a.At(i).Data, b.At(i).Data) << i;
    }
}

std::vector<uint8_t> Bytes(std::initializer_list<int> list) {
    std::vector<uint8_t> v;
    for (int b : list)
        v.push_back(static_cast<uint8_t>(b));
    return v;
}

TEST(TagBlockTest, BothFormsHaveTheDocumentedLayout) {
    IDTagSet set;
    set.AddData(u"\u00E9", "\x07", 1);
    EXPECT_EQ(set.Serialize(), Bytes({1, 0, 0, 0, 11, 0, 0, 0, 0xE9, 0, 0, 0, 0, 0, 7}));
    EXPECT_EQ(set.SerializeNarrow(), Bytes({1, 0, 0, 0, 9, 0, 0, 0, 0xC3, 0xA9, 0, 0, 7}));
    EXPECT_EQ(IDTagSet().Serialize(), Bytes({0, 0, 0, 0}));
}

TEST(TagBlockTest, RoundTripsKeepNamesValuesDataAndOrder) {
    IDTagSet set = Sample();
    IDTagSet wide, narrow;
    std::vector<uint8_t> w = set.Serialize(), n = set.SerializeNarrow();
    wide.Deserialize(w.data(), w.size());
    narrow.DeserializeNarrow(n.data(), n.size());
    ExpectSame(set, wide);
    ExpectSame(set, narrow);
}

TEST(TagBlockTest, ShortEmptyOrMissingBlocksGiveAnEmptySet) {
    IDTagSet set = Sample();
    const uint8_t zeroCount[5] = {0, 0, 0, 0, 9};
    set.Deserialize(zeroCount, 5);
    EXPECT_EQ(set.Count(), 0u);
    set = Sample();
    set.Deserialize(Sample().Serialize().data(), 4);
    EXPECT_EQ(set.Count(), 0u);
    set = Sample();
    set.DeserializeNarrow(nullptr, 100);
    EXPECT_EQ(set.Count(), 0u);
}

// Every cut of a block keeps a prefix of its entries; only the last may be incomplete.
TEST(TagBlockTest, EveryTruncationKeepsTheEntriesBeforeTheCut) {
    const IDTagSet full = Sample();
    for (bool narrow : {false, true}) {
        std::vector<uint8_t> block = narrow ? full.SerializeNarrow() : full.Serialize();
        for (size_t cut = 0; cut < block.size(); ++cut) {
            // A copy of exactly the cut length, so that reading past it is caught.
            std::vector<uint8_t> part(block.begin(), block.begin() + cut);
            IDTagSet set;
            narrow ? set.DeserializeNarrow(part.data(), cut) : set.Deserialize(part.data(), cut);
            ASSERT_LT(set.Count(), full.Count()) << cut;
            for (size_t i = 0; i + 1 < set.Count(); ++i)
                EXPECT_EQ(set.At(i).Name, full.At(i).Name) << cut;
        }
    }
}

TEST(TagBlockTest, LyingLengthsStopWithoutHugeAllocations) {
    IDTagSet one;
    one.Add(u"title", u"x");
    std::vector<uint8_t> good = one.Serialize();
    for (uint32_t length : {0xFFFFFFFFu, 0x7FFFFFFFu, 0x80000000u, 1000u}) {
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
}

TEST(TagBlockTest, RecordsEndingEarlyKeepWhatTheyHold) {
    // "ab" without a terminator fills its record: a name, an empty value, no data; the
    // block ends there even though a second record follows.
    std::vector<uint8_t> wide =
        Bytes({2, 0, 0, 0, 8, 0, 0, 0, 'a', 0, 'b', 0, 8, 0, 0, 0, 'c', 0, 0, 0});
    IDTagSet set;
    set.Deserialize(wide.data(), wide.size());
    ASSERT_EQ(set.Count(), 1u);
    EXPECT_EQ(set.At(0).Name, u"ab");
    EXPECT_EQ(set.At(0).Value, u"");

    // A record shorter than its own length field ends the block with an empty entry.
    std::vector<uint8_t> tiny = Bytes({2, 0, 0, 0, 2, 0, 0, 0, 'x', 0});
    set.Deserialize(tiny.data(), tiny.size());
    ASSERT_EQ(set.Count(), 1u);
    EXPECT_EQ(set.At(0).Name, u"");

    // An odd byte after an unterminated wide name becomes the data.
    std::vector<uint8_t> odd = Bytes({1, 0, 0, 0, 7, 0, 0, 0, 'a', 0, 9});
    set.Deserialize(odd.data(), odd.size());
    ASSERT_EQ(set.Count(), 1u);
    EXPECT_EQ(set.At(0).Name, u"a");
    EXPECT_EQ(set.At(0).Data, Bytes({9}));

    std::vector<uint8_t> narrow = Bytes({1, 0, 0, 0, 9, 0, 0, 0, 'n', 0, 'v', 0xFF, 'w'});
    set.DeserializeNarrow(narrow.data(), narrow.size());
    ASSERT_EQ(set.Count(), 1u);
    EXPECT_EQ(set.At(0).Value, u"v\uFFFDw"); // invalid UTF-8 becomes U+FFFD
}

} // namespace
} // namespace wm
