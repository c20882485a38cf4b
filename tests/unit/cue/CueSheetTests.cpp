// Reading a sheet's lines: what a ripper writes is taken, and each kind of broken line is
// refused with its line number.
#include "bundled/cue/CueSheet.h"

#include <gtest/gtest.h>

namespace wm::cue {
namespace {

// A three-track disc as EAC writes it, gaps appended to the previous track.
const char16_t kDisc[] = u"REM GENRE \"Chanson\"\r\n"
                         u"REM DATE 1998\r\n"
                         u"REM DISCNUMBER 2\r\n"
                         u"REM REPLAYGAIN_ALBUM_GAIN -7.10 dB\r\n"
                         u"PERFORMER \"Zoë Ålvarez\"\r\n"
                         u"TITLE \"Café Nocturne\"\r\n"
                         u"FILE \"disc.wav\" WAVE\r\n"
                         u"  TRACK 01 AUDIO\r\n"
                         u"    TITLE \"Über\"\r\n"
                         u"    INDEX 01 00:00:00\r\n"
                         u"  TRACK 02 AUDIO\r\n"
                         u"    TITLE \"Два\"\r\n"
                         u"    PERFORMER \"Guest\"\r\n"
                         u"    ISRC USABC9800001\r\n"
                         u"    INDEX 00 00:02:10\r\n"
                         u"    INDEX 01 00:03:00\r\n"
                         u"  TRACK 03 AUDIO\r\n"
                         u"    TITLE \"三\"\r\n"
                         u"    REM REPLAYGAIN_TRACK_GAIN -6.5 dB\r\n"
                         u"    INDEX 00 00:05:00\r\n"
                         u"    INDEX 01 00:05:74\r\n"
                         u"    INDEX 02 00:06:00\r\n";

TEST(CueSheet, ReadsDiscTracksAndRemarks) {
    CueSheet sheet;
    CueError error;
    ASSERT_TRUE(ParseCueText(kDisc, sheet, error)) << Narrow(error.reason);
    EXPECT_EQ(sheet.title, u"Café Nocturne");
    EXPECT_EQ(sheet.performer, u"Zoë Ålvarez");
    ASSERT_EQ(sheet.files.size(), 1u);
    EXPECT_EQ(sheet.files[0].name, u"disc.wav");
    ASSERT_EQ(sheet.tracks.size(), 3u);
    EXPECT_EQ(sheet.tracks[1].title, u"Два");
    EXPECT_EQ(sheet.tracks[1].performer, u"Guest");
    EXPECT_EQ(sheet.tracks[1].isrc, u"USABC9800001");
    EXPECT_TRUE(sheet.tracks[1].hasIndex0);
    EXPECT_EQ(sheet.tracks[1].index0, 2u * 75 + 10);
    EXPECT_EQ(sheet.tracks[2].index1, 5u * 75 + 74);
    EXPECT_EQ(sheet.tracks[2].index1Line, 21u);
    ASSERT_NE(FindRemark(sheet.remarks, u"GENRE"), nullptr);
    EXPECT_EQ(FindRemark(sheet.remarks, u"GENRE")->value, u"Chanson");
    EXPECT_EQ(FindRemark(sheet.remarks, u"REPLAYGAIN_ALBUM_GAIN")->value, u"-7.10 dB");
    EXPECT_EQ(FindRemark(sheet.tracks[2].remarks, u"REPLAYGAIN_TRACK_GAIN")->value, u"-6.5 dB");
    EXPECT_EQ(FramesText(sheet.tracks[2].index1), u"00:05:74");
}

TEST(CueSheet, OneFilePerTrackAndUnquotedNames) {
    CueSheet sheet;
    CueError error;
    ASSERT_TRUE(ParseCueText(u"FILE one.flac WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\n"
                             u"FILE \"two two.flac\" WAVE\nTRACK 2 AUDIO\nINDEX 01 00:00:00\n",
                             sheet, error))
        << Narrow(error.reason);
    ASSERT_EQ(sheet.files.size(), 2u);
    EXPECT_EQ(sheet.files[0].name, u"one.flac");
    EXPECT_EQ(sheet.files[1].name, u"two two.flac");
    EXPECT_EQ(sheet.tracks[1].file, 1u);
}

struct Broken {
    const char16_t* text;
    uint32_t line;
    const char* reason;
};

TEST(CueSheet, RefusesBrokenLinesNamingThem) {
    const Broken cases[] = {
        {u"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:75\n", 3,
         "the time '00:00:75' has a frame above 74"},
        {u"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:60:00\n", 3,
         "the time '00:60:00' has more than 59 seconds"},
        {u"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:10:00\nTRACK 02 AUDIO\n"
         u"INDEX 01 00:09:00\n",
         5, "track 2 at 00:09:00 does not come after track 1 at 00:10:00"},
        {u"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 00 00:03:00\nINDEX 01 00:02:00\n", 4,
         "INDEX 01 00:02:00 comes before INDEX 00 00:03:00"},
        {u"TRACK 01 AUDIO\n", 1, "TRACK before any FILE line"},
        {u"FILE a.wav WAVE\nINDEX 01 00:00:00\n", 2, "INDEX outside a TRACK"},
        {u"FILE a.wav WAVE\nTRACK 01 AUDIO\nTITLE x\n", 2, "track 1 has no INDEX 01"},
        {u"FILE a.wav WAVE\nTRACK 01 AUDIO\nTRACK 02 AUDIO\n", 3, "track 1 has no INDEX 01"},
        {u"FILE a.wav WAVE\nTRACK 02 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\n", 4,
         "track 2 comes after track 2"},
        {u"FILE a.wav WAVE\nTRACK 100 AUDIO\n", 2, "the track number must be 1 to 99, not '100'"},
        {u"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 1:2\n", 3, "the time '1:2' is not mm:ss:ff"},
        {u"REM just a remark\n", 0, "the sheet has no TRACK line"},
    };
    for (const Broken& c : cases) {
        CueSheet sheet;
        CueError error;
        EXPECT_FALSE(ParseCueText(c.text, sheet, error)) << Narrow(c.text);
        EXPECT_EQ(error.line, c.line) << Narrow(c.text);
        EXPECT_EQ(Narrow(error.reason), c.reason);
    }
}

} // namespace
} // namespace wm::cue
