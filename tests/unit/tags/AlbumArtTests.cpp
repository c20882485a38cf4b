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
    String name = MakeAlbumArtName(2, u"Back Album Cover", u"the back");
    EXPECT_EQ(name, u"_albumart_2_Back Album Cover<subdesc>the back");
    String type, description;
    ParseAlbumArtName(name, &type, &description);
    EXPECT_EQ(type, u"Back Album Cover");
    EXPECT_EQ(description, u"the back");

    EXPECT_EQ(PictureTypeFromName(u"front album cover"), 3);
    EXPECT_EQ(PictureTypeFromName(u"Publisher Logo"), 20);
    EXPECT_EQ(PictureTypeFromName(u"Publisher"), 3);
}

TEST(AlbumArtTest, FindMatchesTheIndexAsAPrefix) {
    IDTagSet set;
    AddPicture(set, 10, u"Media", {10});
    AddPicture(set, 1, u"Band", {1});
    EXPECT_EQ(set.FindAlbumArt(1)->Data[0], 10); // "_albumart_1" also begins index 10
    EXPECT_EQ(set.FindAlbumArt(2), nullptr);
}

TEST(AlbumArtTest, CollectStopsAtAGapAndDropsDuplicates) {
    IDTagSet source;
    AddPicture(source, 1, u"Front Album Cover", {1, 2, 3});
    AddPicture(source, 2, u"Back Album Cover", {1, 2, 3}); // same bytes, other type: kept
    AddPicture(source, 4, u"Media", {4});                  // after the gap: not taken
    IDTagSet target;
    StringList seen;
    CollectUniqueAlbumArt(target, source, seen);
    EXPECT_EQ(Names(target), u"_albumart_1_Front Album Cover|_albumart_2_Back Album Cover|");
    // Size, CRC-32 of the bytes, type.
    EXPECT_EQ(seen.at(0), String(u"00000003-") + u"55BC801D" + u"\tFront Album Cover");
    CollectUniqueAlbumArt(target, source, seen); // all seen already
    EXPECT_EQ(target.Count(), 2u);
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

    IDTagSet taken(set); // others keep their numbers
    EXPECT_EQ(taken.Take(u"_albumart_2_Whatever"), u"");
    EXPECT_EQ(Names(taken), u"_albumart_1_Front Album Cover|_albumart_3_Media|title|");

    IDTagSet byType(set);
    byType.RemoveAlbumArt(u"Front Album Cover", u"no such description");
    EXPECT_EQ(Names(byType), u"title|_albumart_1_Artist<subdesc>live|_albumart_2_Media|");

    // An empty description matches every picture without one.
    set.RemoveAlbumArt(u"Band", u"");
    EXPECT_EQ(Names(set), u"title|_albumart_1_Artist<subdesc>live|");
}

} // namespace
} // namespace wm
