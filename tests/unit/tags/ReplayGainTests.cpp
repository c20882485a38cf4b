// Gating, gain text and the loudness record the batch reads back.
#include "tags/ReplayGain.h"

#include <gtest/gtest.h>

#include <cmath>

namespace wm {
namespace {

TEST(ReplayGainTest, GatingDropsSilenceAndBlocksTenLuBelowTheMean) {
    const double loud = EnergyOfLoudness(-20);
    // Below the absolute gate: as if absent.
    EXPECT_NEAR(GatedLoudness({loud, loud, EnergyOfLoudness(-75), 0.0}), -20, 1e-9);
    // -35 LUFS lies below the relative gate (mean about -21.8, gate about -31.8): dropped.
    EXPECT_NEAR(GatedLoudness({loud, loud, EnergyOfLoudness(-35)}), -20, 1e-9);
    // -28 LUFS lies above it: taken into the mean of energies, not of loudness values.
    const double withQuieter = GatedLoudness({loud, EnergyOfLoudness(-28)});
    EXPECT_NEAR(withQuieter, LoudnessOfEnergy((loud + EnergyOfLoudness(-28)) / 2), 1e-9);
    EXPECT_NEAR(GatedLoudness({EnergyOfLoudness(-70)}), -70, 1e-9); // the gate itself passes
    EXPECT_TRUE(std::isinf(GatedLoudness({})));
    EXPECT_TRUE(std::isinf(GatedLoudness({0.0, EnergyOfLoudness(-80)})));
}

TEST(ReplayGainTest, TextAsPlayersReadIt) {
    EXPECT_EQ(GainText(-11.48), u"-6.52 dB");
    EXPECT_EQ(GainText(-21.1), u"+3.10 dB");
    EXPECT_EQ(PeakText(0.98852539), u"0.988525");
    EXPECT_EQ(PeakText(1.25), u"1.250000"); // a true peak may exceed full scale
}

TEST(ReplayGainTest, FreshValuesReplaceOldOnesAndSilenceHasNoGain) {
    IDTagSet set;
    set.Add(u"REPLAYGAIN_TRACK_GAIN", u"+9.00 dB");
    set.Add(u"replaygain_album_gain", u"-1.00 dB");
    PutReplayGain(set, GainScope::Track, -12, 0.5);
    EXPECT_EQ(set.GetValue(u"replaygain_track_gain"), u"-6.00 dB");
    EXPECT_EQ(set.GetValue(u"replaygain_track_peak"), u"0.500000");
    EXPECT_EQ(set.GetValue(u"replaygain_album_gain"), u"-1.00 dB"); // the other scope stays
    EXPECT_EQ(set.Count(), 3u);
    PutReplayGain(set, GainScope::Album, -HUGE_VAL, 0);
    EXPECT_FALSE(set.Find(u"replaygain_album_gain"));
    EXPECT_EQ(set.GetValue(u"replaygain_album_peak"), u"0.000000");
}

TEST(ReplayGainTest, RecordRoundTripsExactlyAndRefusesBrokenText) {
    LoudnessRecord record{-23.456789012345678, 0.1 + 0.2, {1e-7, 0.0, 3.0 / 7}};
    const auto back = ReadLoudnessRecord(WriteLoudnessRecord(record));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->lufs, record.lufs);
    EXPECT_EQ(back->peak, record.peak);
    EXPECT_EQ(back->blocks, record.blocks);
    const auto silent = ReadLoudnessRecord(WriteLoudnessRecord({-HUGE_VAL, 0, {}}));
    ASSERT_TRUE(silent);
    EXPECT_TRUE(std::isinf(silent->lufs));
    const std::string whole = WriteLoudnessRecord(record);
    EXPECT_FALSE(ReadLoudnessRecord(whole.substr(0, whole.size() - 1))); // cut short
    EXPECT_FALSE(ReadLoudnessRecord("peak=1\nblock=2\n"));               // no loudness
    EXPECT_FALSE(ReadLoudnessRecord("lufs=-1\npeak=x\n"));
    EXPECT_FALSE(ReadLoudnessRecord("lufs=-1\npeak=1\ngain=2\n"));
}

} // namespace
} // namespace wm
