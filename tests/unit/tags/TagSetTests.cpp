#include "tags/IDTagSet.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

TEST(TagSetTest, MergeKeepsOrReplacesAndTakesOnlyTheFirstOfANewName) {
    IDTagSet other;
    other.Add(u"TITLE", u"theirs");
    other.Add(u"year", u"1999");
    other.Add(u"year", u"2000");

    IDTagSet kept;
    kept.Add(u"title", u"ours");
    kept.Merge(other, false);
    ASSERT_EQ(kept.Count(), 2u);
    EXPECT_EQ(kept.At(0).Value, u"ours");
    EXPECT_EQ(kept.At(1).Value, u"1999");

    IDTagSet replaced;
    replaced.Add(u"title", u"ours");
    replaced.Add(u"title", u"ours too");
    replaced.Merge(other, true);
    EXPECT_EQ(replaced.At(0).Name, u"TITLE");
    EXPECT_EQ(replaced.At(0).Value, u"theirs");
    EXPECT_EQ(replaced.At(1).Value, u"ours too");
}

TEST(TagSetTest, AnEntryAtTheLimitStays) {
    IDTagSet set;
    set.Add(u"ab", u"cd"); // 4 + 4 bytes
    set.RemoveLarger(8);
    EXPECT_EQ(set.Count(), 1u);
}
TEST(TagSetTest, CrcTagsKeptWhenAsked) {
    IDTagSet set;
    set.Add(u"_CRC", u"");
    set.RemoveInternalTags(kKeepCrcTags);
    EXPECT_EQ(set.Count(), 1u);
}
} // namespace
} // namespace wm
