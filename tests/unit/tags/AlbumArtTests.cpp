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
    IDTagSet theirs;
    AddPicture(theirs, 1, u"Front Album Cover", {9, 9}, u"cover");
    AddPicture(theirs, 2, u"Artist", {7});
    theirs.Add(u"genre", u"g");

    mine.Merge(theirs, false);
    EXPECT_EQ(Names(mine),
              u"title|genre|_albumart_1_Front Album Cover<subdesc>cover|_albumart_2_Artist|");
    EXPECT_EQ(mine.At(3).Data, std::vector<uint8_t>({7}));

    // Removing one renumbers the rest from one.
    mine.RemoveAlbumArt(u"Front Album Cover", u"no such description");
    EXPECT_EQ(Names(mine), u"title|genre|_albumart_1_Artist|");
}

} // namespace
} // namespace wm
