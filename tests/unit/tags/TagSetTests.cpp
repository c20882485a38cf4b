#include "tags/IDTagSet.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

TEST(TagSetTest, LookupsFoldOnlyAsciiAndMoveTheCursor) {
    IDTagSet set;
    set.Add(u"Title", u"first");
    set.Add(u"title", u"second");
    set.Add(u"\u00C9t\u00E9", u"summer");
    set.Add(u"{itle", u"brace");
    const IDTagEntry* found = set.Find(u"TITLE");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->Value, u"first");
    EXPECT_EQ(set.Find(u"\u00E9t\u00E9"), nullptr); // Latin-1 letters do not fold
    EXPECT_EQ(set.Find(u"[itle"), nullptr);         // nor does '[' (after 'Z')

    EXPECT_TRUE(set.Remove(u"TITLE")); // every entry of the name
    EXPECT_FALSE(set.Remove(u"title"));
    set.RemoveAt(2); // past the end: nothing
    EXPECT_EQ(set.Count(), 2u);
}

TEST(TagSetTest, ValuesTakeAndSizeLimits) {
    IDTagSet set;
    set.Add(u"artist", u"A\rB\rC");
    set.Add(u"g", u"Rock"); // 2 + 8 bytes
    uint8_t bytes[10] = {};
    set.AddData(u"pic", bytes, sizeof bytes); // 3 * 2 + 0 + 10 = 16 bytes
    EXPECT_EQ(set.Take(u"Artist"), u"A\rB\rC");
    set.RemoveLarger(16);
    EXPECT_EQ(set.Count(), 2u);
    set.RemoveLarger(15);
    ASSERT_EQ(set.Count(), 1u);
    EXPECT_EQ(set.At(0).Name, u"g");
}

TEST(TagSetTest, RemoveInternalTagsKeepsWhatTheFlagsSay) {
    auto names = [](unsigned keep) {
        IDTagSet set;
        for (const char16_t* n :
             {u"title", u"_RIFF_INAM", u"_cdtoc", u"_albumart_1_Media", u"_CRC", u"_other", u"_"})
            set.Add(n, u"");
        set.RemoveInternalTags(keep);
        String all;
        for (size_t i = 0; i < set.Count(); ++i)
            all += set.At(i).Name + u" ";
        return all;
    };
    EXPECT_EQ(names(kKeepRiffTags | kKeepCrcTags), u"title _RIFF_INAM _CRC ");
    EXPECT_EQ(names(kKeepCdTocTags | kKeepAlbumArtTags), u"title _cdtoc _albumart_1_Media ");
}

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

} // namespace
} // namespace wm
