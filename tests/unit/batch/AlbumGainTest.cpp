// Albums grouped as players group them, and an album's values only once its last track ended.
#include "batch/AlbumGain.h"

#include <gtest/gtest.h>

#include <cmath>

namespace wm {
namespace {

LoudnessRecord Track(double lufs, double peak, size_t blocks) {
    return {lufs, peak, GatingBlocks(blocks, EnergyOfLoudness(lufs))};
}

TEST(AlbumGainTest, KeyIsFolderAlbumAndAlbumArtistCaseBlind) {
    const String a = AlbumKey(u"D:\\Music\\X\\01.flac", u"Blue", u"Joni", u"Someone");
    EXPECT_EQ(a, AlbumKey(u"d:\\music\\x\\02.flac", u"BLUE", u"joni", u"Other"));
    EXPECT_NE(a, AlbumKey(u"D:\\Music\\Y\\01.flac", u"Blue", u"Joni", u"")); // another folder
    EXPECT_NE(a, AlbumKey(u"D:\\Music\\X\\03.flac", u"Blue", u"", u"Someone"));
    // Without an album artist the artist groups.
    EXPECT_EQ(AlbumKey(u"X\\1.flac", u"B", u"", u"Joni"),
              AlbumKey(u"X\\2.flac", u"B", u"Joni", u""));
    EXPECT_TRUE(AlbumKey(u"X\\1.flac", u"", u"Joni", u"Joni").empty());
}

TEST(AlbumGainTest, AlbumLoudnessGatesAllBlocksTogetherOnceTheLastTrackEnds) {
    AlbumLedger ledger;
    ledger.Add(0, u"a");
    ledger.Add(1, u"b");
    ledger.Add(2, u"a");
    ledger.Add(3, u""); // no album
    EXPECT_FALSE(ledger.TrackEnded(2, Track(-10, 0.9, 30), u""));
    EXPECT_FALSE(ledger.TrackEnded(3, Track(-10, 0.9, 30), u""));
    // A quiet track within 10 LU counts by its blocks' energy; an average of the two track
    // loudness values (-13) would be wrong.
    const auto album = ledger.TrackEnded(0, Track(-18, 0.4, 10), u"");
    ASSERT_TRUE(album);
    EXPECT_EQ(album->tracks, (std::vector<size_t>{0, 2}));
    ASSERT_TRUE(album->measured);
    const double mean = (30 * EnergyOfLoudness(-10) + 10 * EnergyOfLoudness(-18)) / 40;
    EXPECT_NEAR(album->lufs, LoudnessOfEnergy(mean), 1e-9);
    EXPECT_EQ(album->peak, 0.9);
    const auto single = ledger.TrackEnded(1, Track(-20, 0.5, 5), u"");
    ASSERT_TRUE(single);
    EXPECT_NEAR(single->lufs, -20, 1e-9); // an album of one track: its own loudness
}

TEST(AlbumGainTest, AFailedTrackLeavesItsAlbumUnmeasuredWithTheReason) {
    AlbumLedger ledger;
    for (size_t i = 0; i < 3; ++i)
        ledger.Add(i, u"a");
    EXPECT_FALSE(ledger.TrackEnded(0, Track(-10, 0.9, 30), u""));
    EXPECT_FALSE(ledger.TrackEnded(1, std::nullopt, u"02.flac failed"));
    const auto album = ledger.TrackEnded(2, Track(-10, 0.9, 30), u"");
    ASSERT_TRUE(album);
    EXPECT_FALSE(album->measured);
    EXPECT_EQ(album->reason, u"02.flac failed");
    const auto silent = [] {
        AlbumLedger l;
        l.Add(0, u"s");
        return l.TrackEnded(0, LoudnessRecord{-HUGE_VAL, 0, {0.0, 0.0}}, u"");
    }();
    ASSERT_TRUE(silent && silent->measured);
    EXPECT_TRUE(std::isinf(silent->lufs)); // silence: no album gain, the peak still written
}

} // namespace
} // namespace wm
