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
    EXPECT_EQ(set.Current()->Value, u"brace"); // the newest entry

    const IDTagEntry* found = set.Find(u"TITLE");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->Value, u"first");
    EXPECT_EQ(set.Current(), found);
    EXPECT_EQ(set.Find(u"\u00E9t\u00E9"), nullptr); // Latin-1 letters do not fold
    EXPECT_EQ(set.Find(u"[itle"), nullptr);         // nor does '[' (after 'Z')
    EXPECT_EQ(set.Find(u"Titl"), nullptr);
    EXPECT_EQ(set.GetValue(u"missing"), u"");

    EXPECT_TRUE(set.Remove(u"TITLE"));
    EXPECT_EQ(set.Count(), 2u);
    EXPECT_FALSE(set.Remove(u"title"));
    set.RemoveAt(2); // past the end: nothing
    EXPECT_EQ(set.Count(), 2u);
    set.At(0);
    set.RemoveAt(0);
    EXPECT_EQ(set.Current(), nullptr);
}

TEST(TagSetTest, ValuesTakeAndSizeLimits) {
    IDTagSet set;
    set.Add(u"artist", u"A\rB\rC");
    set.Add(u"g", u"Rock"); // 2 + 8 bytes
    set.Add(u"ARTIST", u"D");
    uint8_t bytes[10] = {};
    set.AddData(u"pic", bytes, sizeof bytes); // 3 * 2 + 0 + 10 = 16 bytes
    EXPECT_EQ(set.GetFirstValue(u"artist"), u"A");
    EXPECT_EQ(set.GetFirstValue(u"G"), u"Rock");

    EXPECT_EQ(set.Take(u"Artist"), u"A\rB\rC");
    EXPECT_EQ(set.Count(), 2u);
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
    EXPECT_EQ(names(0), u"title ");
    EXPECT_EQ(names(kKeepRiffTags | kKeepCrcTags), u"title _RIFF_INAM _CRC ");
    EXPECT_EQ(names(kKeepCdTocTags | kKeepAlbumArtTags), u"title _cdtoc _albumart_1_Media ");
}

TEST(TagSetTest, MergeKeepsOrReplacesAndTakesOnlyTheFirstOfANewName) {
    IDTagSet other;
    other.Add(u"TITLE", u"theirs");
    other.Add(u"year", u"1999");
    other.Add(u"year", u"2000");
    uint8_t b[2] = {1, 2};
    other.AddData(u"blob", b, 2);

    IDTagSet kept;
    kept.Add(u"title", u"ours");
    kept.Merge(other, false);
    ASSERT_EQ(kept.Count(), 3u);
    EXPECT_EQ(kept.At(0).Name, u"title");
    EXPECT_EQ(kept.At(0).Value, u"ours");
    EXPECT_EQ(kept.At(1).Value, u"1999");
    EXPECT_EQ(kept.At(2).Data, std::vector<uint8_t>({1, 2}));

    IDTagSet replaced;
    replaced.Add(u"title", u"ours");
    replaced.Add(u"title", u"ours too");
    replaced.Merge(other, true);
    EXPECT_EQ(replaced.At(0).Name, u"TITLE");
    EXPECT_EQ(replaced.At(0).Value, u"theirs");
    EXPECT_EQ(replaced.At(1).Value, u"ours too");
}

TEST(TagSetTest, CopiesAreDeep) {
    IDTagSet a;
    a.Add(u"x", u"1");
    IDTagSet b(a);
    b.At(0).Value = u"2";
    a.CopyFrom(a); // copying onto itself keeps it
    EXPECT_EQ(a.GetValue(u"x"), u"1");
    IDTagSet moved(std::move(b)); // the cursor moves along with the entries
    EXPECT_EQ(moved.Current()->Value, u"2");
}

TEST(TagSetTest, DumpDataPrintsHexBytes) {
    const uint8_t bytes[] = {0x00, 0x7F, 0xAB};
    EXPECT_EQ(IDTagSet::DumpData(u"Block", bytes, 3), u"  Block 00 7F AB");
    EXPECT_EQ(IDTagSet::DumpData(u"Empty", nullptr, 0), u"  Empty");
}

} // namespace
} // namespace wm
