// A track's place in its image, exact to the sample, the image file a sheet means, and the
// tags a track gets.
#include "bundled/cue/CueTracks.h"

#include <gtest/gtest.h>

namespace wm::cue {
namespace {

CueSheet Parsed(StringView text) {
    CueSheet sheet;
    CueError error;
    EXPECT_TRUE(ParseCueText(text, sheet, error)) << Narrow(error.reason);
    return sheet;
}

const char16_t kGapped[] = u"PERFORMER Band\nTITLE Album\nREM DATE 2001\nREM GENRE Rock\n"
                           u"REM DISCNUMBER 1/2\nREM REPLAYGAIN_ALBUM_GAIN -3 dB\n"
                           u"FILE disc.wav WAVE\n"
                           u"TRACK 01 AUDIO\nTITLE One\nINDEX 00 00:00:00\nINDEX 01 00:00:33\n"
                           u"TRACK 02 AUDIO\nTITLE Two\nPERFORMER Guest\nISRC GB0000000002\n"
                           u"REM REPLAYGAIN_TRACK_GAIN +1 dB\n"
                           u"INDEX 00 00:02:00\nINDEX 01 00:03:00\n"
                           u"FILE other.wav WAVE\nTRACK 03 AUDIO\nINDEX 01 00:00:10\n";

TEST(CueTracks, SpansRunFromIndexOneToTheNextOrTheFileEnd) {
    const CueSheet sheet = Parsed(kGapped);
    TrackSpan span;
    CueError error;
    ASSERT_TRUE(FindTrackSpan(sheet, 1, span, error));
    EXPECT_EQ(span.startFrame, 33u);
    EXPECT_FALSE(span.toFileEnd);
    EXPECT_EQ(span.endFrame, 3u * 75); // track 2's gap stays with track 1
    ASSERT_TRUE(FindTrackSpan(sheet, 2, span, error));
    EXPECT_EQ(span.startFrame, 3u * 75);
    EXPECT_TRUE(span.toFileEnd);
    EXPECT_EQ(span.file, 0u);
    ASSERT_TRUE(FindTrackSpan(sheet, 3, span, error));
    EXPECT_EQ(span.file, 1u);
    EXPECT_EQ(span.startFrame, 10u);
    ASSERT_TRUE(FindTrackSpan(sheet, kHiddenTrack, span, error));
    EXPECT_EQ(span.startFrame, 0u);
    EXPECT_EQ(span.endFrame, 33u);
    EXPECT_FALSE(FindTrackSpan(sheet, 4, span, error));
    EXPECT_EQ(Narrow(error.reason), "the sheet has no track 4");
    EXPECT_FALSE(FindTrackSpan(Parsed(u"FILE a WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\n"),
                               kHiddenTrack, span, error));
}

TEST(CueTracks, FramesBecomeSamplesExactly) {
    EXPECT_EQ(FrameToSample(1, 44100), 588u);
    EXPECT_EQ(FrameToSample(75 * 60 * 70 + 74, 44100), 44100ull * 60 * 70 + 74 * 588);
    EXPECT_EQ(FrameToSample(1, 48000), 640u);
    EXPECT_EQ(FrameToSample(2, 22050), 588u);

    const CueSheet sheet = Parsed(kGapped);
    TrackSpan span;
    CueError error;
    ASSERT_TRUE(FindTrackSpan(sheet, 1, span, error));
    EXPECT_TRUE(SpanFits(span, 3 * 44100, 44100, error));
    EXPECT_FALSE(SpanFits(span, 3 * 44100 - 1, 44100, error));
    EXPECT_EQ(error.line, 11u);
    EXPECT_EQ(Narrow(error.reason),
              "the time 00:03:00 lies past the end of the audio file (00:02:74)");
    ASSERT_TRUE(FindTrackSpan(sheet, 2, span, error));
    EXPECT_FALSE(SpanFits(span, 3 * 44100, 44100, error));
    EXPECT_EQ(error.line, 18u);
}

TEST(CueTracks, FindsTheImageAnotherExtensionOrCaseMayHave) {
    const StringList names = {u"Disc.FLAC", u"disc.cue", u"cover.jpg"};
    const StringList readable = {u".wav", u".flac"};
    EXPECT_EQ(MatchImageName(u"disc.flac", names, readable), u"Disc.FLAC");
    EXPECT_EQ(MatchImageName(u"disc.wav", names, readable), u"Disc.FLAC");
    EXPECT_EQ(MatchImageName(u"cover.wav", names, readable), u"");
    EXPECT_EQ(MatchImageName(u"other.wav", names, readable), u"");
}

TEST(CueTracks, SheetTagsOverTheImagesOwn) {
    const CueSheet sheet = Parsed(kGapped);
    IDTagSet image;
    image.Add(u"title", u"Whole Disc");
    image.Add(u"composer", u"Someone");
    image.Add(u"replaygain_track_gain", u"-9 dB");
    image.Add(u"CUESHEET", u"FILE ...");
    image.AddData(u"_albumart_1_Front Cover", "\x89PNG", 4);

    const IDTagSet one = TrackTags(sheet, 1, image);
    EXPECT_EQ(one.GetValue(u"title"), u"One");
    EXPECT_EQ(one.GetValue(u"artist"), u"Band");
    EXPECT_EQ(one.GetValue(u"album artist"), u"Band");
    EXPECT_EQ(one.GetValue(u"album"), u"Album");
    EXPECT_EQ(one.GetValue(u"track"), u"1/3");
    EXPECT_EQ(one.GetValue(u"year"), u"2001");
    EXPECT_EQ(one.GetValue(u"genre"), u"Rock");
    EXPECT_EQ(one.GetValue(u"disc"), u"1/2");
    EXPECT_EQ(one.GetValue(u"replaygain_album_gain"), u"-3 dB");
    EXPECT_EQ(one.GetValue(u"composer"), u"Someone");
    EXPECT_EQ(one.Find(u"replaygain_track_gain"), nullptr);
    EXPECT_EQ(one.Find(u"CUESHEET"), nullptr);
    EXPECT_NE(one.FindAlbumArt(1), nullptr);

    const IDTagSet two = TrackTags(sheet, 2, image);
    EXPECT_EQ(two.GetValue(u"artist"), u"Guest");
    EXPECT_EQ(two.GetValue(u"ISRC"), u"GB0000000002");
    EXPECT_EQ(two.GetValue(u"replaygain_track_gain"), u"+1 dB");

    const IDTagSet three = TrackTags(sheet, 3, image);
    EXPECT_EQ(three.GetValue(u"title"), u"Whole Disc"); // the sheet is silent
}

} // namespace
} // namespace wm::cue
