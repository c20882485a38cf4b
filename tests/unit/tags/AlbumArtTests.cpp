#include "tags/AlbumArt.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

void AddPicture(IDTagSet& set, int index, StringView type, std::vector<uint8_t> bytes,
                StringView description = u"") {
    set.AddData(MakeAlbumArtName(index, type, description), bytes.data(), bytes.size());
}

String Names(const IDTagSet& set) {
    String all;
    for (size_t i = 0; i < set.Count(); ++i)
        all += set.At(i).Name + u"|";
    return all;
}

TEST(AlbumArtTest, NamesAndPictureTypes) {
    EXPECT_EQ(MakeAlbumArtName(12, u"Media", u""), u"_albumart_12_Media");
    String name = MakeAlbumArtName(2, u"Back Album Cover", u"the back");
    EXPECT_EQ(name, u"_albumart_2_Back Album Cover<subdesc>the back");
    String type, description;
    ParseAlbumArtName(name, &type, &description);
    EXPECT_EQ(type, u"Back Album Cover");
    EXPECT_EQ(description, u"the back");
    ParseAlbumArtName(u"_albumart_3", &type, &description);
    EXPECT_EQ(type + description, u"");
    ParseAlbumArtName(u"_albumart_3_Odd<SUBDESC>x", &type, &description); // mark is case-exact
    EXPECT_EQ(type, u"Odd<SUBDESC>x");

    EXPECT_EQ(PictureTypeFromName(u"front album cover"), 3);
    EXPECT_EQ(PictureTypeFromName(u"Publisher Logo"), 20);
    EXPECT_EQ(PictureTypeFromName(u"32x32 Icon"), 1);
    EXPECT_EQ(PictureTypeFromName(u"Publisher"), 3);
    EXPECT_EQ(PictureTypeFromName(u""), 3);
    EXPECT_EQ(PictureTypeName(17), u"A Bright Coloured Fish");
    EXPECT_EQ(PictureTypeName(0), u"Front Album Cover");
    EXPECT_EQ(PictureTypeName(21), u"Front Album Cover");
    EXPECT_TRUE(IsAlbumArtName(u"_ALBUMART_1_Media"));
    EXPECT_FALSE(IsAlbumArtName(u"_albumart"));
}

TEST(AlbumArtTest, FindMatchesTheIndexAsAPrefix) {
    IDTagSet set;
    AddPicture(set, 10, u"Media", {10});
    AddPicture(set, 1, u"Band", {1});
    String type;
    EXPECT_EQ(set.FindAlbumArt(1, &type)->Data[0], 10); // "_albumart_1" also begins index 10
    EXPECT_EQ(type, u"Media");
    EXPECT_EQ(set.FindAlbumArt(2), nullptr);
}

TEST(AlbumArtTest, CollectStopsAtAGapAndDropsDuplicates) {
    IDTagSet source;
    AddPicture(source, 1, u"Front Album Cover", {1, 2, 3});
    AddPicture(source, 2, u"Back Album Cover", {1, 2, 3});  // same bytes, other type: kept
    AddPicture(source, 3, u"Front Album Cover", {1, 2, 3}); // a duplicate of 1
    AddPicture(source, 5, u"Media", {4});                   // after the gap: not taken
    IDTagSet target;
    StringList seen;
    CollectUniqueAlbumArt(target, source, seen);
    EXPECT_EQ(Names(target), u"_albumart_1_Front Album Cover|_albumart_2_Back Album Cover|");
    ASSERT_EQ(seen.size(), 2u);
    // Size, CRC-32 of the bytes, type.
    EXPECT_EQ(seen[0], String(u"00000003-") + u"55BC801D" + u"\tFront Album Cover");
}

TEST(AlbumArtTest, MergePutsUniquePicturesLastNumberedFromOne) {
    IDTagSet mine;
    AddPicture(mine, 1, u"Front Album Cover", {9, 9}, u"cover");
    mine.Add(u"title", u"t");
    mine.Add(u"_riff_IART", u"a");
    IDTagSet theirs;
    AddPicture(theirs, 1, u"Front Album Cover", {9, 9}, u"cover");
    AddPicture(theirs, 2, u"Artist", {7});
    theirs.Add(u"genre", u"g");

    mine.Merge(theirs, false);
    EXPECT_EQ(Names(mine), u"title|_riff_IART|genre|_albumart_1_Front Album Cover<subdesc>cover|"
                           u"_albumart_2_Artist|");
    EXPECT_EQ(mine.At(4).Data, std::vector<uint8_t>({7}));
}

TEST(AlbumArtTest, TakeAndRemoveAlbumArt) {
    IDTagSet set;
    AddPicture(set, 1, u"Front Album Cover", {1});
    AddPicture(set, 2, u"Artist", {2}, u"live");
    AddPicture(set, 3, u"Media", {3});
    set.Add(u"title", u"t");

    IDTagSet taken(set);
    EXPECT_EQ(taken.Take(u"_albumart_2_Whatever"), u"");
    EXPECT_EQ(Names(taken), u"_albumart_1_Front Album Cover|_albumart_3_Media|title|");

    IDTagSet byType(set);
    byType.RemoveAlbumArt(u"Front Album Cover", u"no such description");
    EXPECT_EQ(Names(byType), u"title|_albumart_1_Artist<subdesc>live|_albumart_2_Media|");
    EXPECT_EQ(byType.At(2).Data, std::vector<uint8_t>({3}));

    // An empty description matches every picture without one.
    set.RemoveAlbumArt(u"Band", u"");
    EXPECT_EQ(Names(set), u"title|_albumart_1_Artist<subdesc>live|");

    IDTagSet untouched(byType);
    untouched.RemoveAlbumArt(u"Band", u"none");
    EXPECT_EQ(Names(untouched), Names(byType));
}

TEST(AlbumArtTest, Crc32IsTheIeeeOne) {
    EXPECT_EQ(Crc32("123456789", 9), 0xCBF43926u);
    EXPECT_EQ(Crc32("", 0), 0u);
}

} // namespace
} // namespace wm
