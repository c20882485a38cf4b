// Tags end to end through the test plug-ins: what the encoder receives, and the tag writer.
#include "tests/e2e/E2eSupport.h"

#include "process/WinString.h"
#include "tags/IDTagSet.h"

#include <gtest/gtest.h>
#include <windows.h>

using namespace wm;
using namespace wm::e2e;

namespace {

String WriteBlock(const String& path, const IDTagSet& set) {
    std::vector<uint8_t> block = set.Serialize();
    WriteBytes(path, block.data(), block.size());
    return path;
}

IDTagSet ReadBlock(const String& path) {
    Bytes bytes = ReadBytes(path);
    IDTagSet set;
    set.Deserialize(bytes.data(), bytes.size());
    return set;
}

const uint8_t kCover[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 1, 2, 3};

const char16_t* const kSourceTags[][2] = {{u"title", u"Source Title"},
                                          {u"artist", u"Source Artist"},
                                          {u"Encoded By", u"someone"},
                                          {u"Encoder", u"old encoder"},
                                          {u"Source", u"CD"},
                                          {u"Encoding Tool", u"tool"},
                                          {u"replaygain_track_gain", u"-3.1 dB"},
                                          {u"ITUNSMPB", u"00000000"},
                                          {u"comment", u"\u00A0 spaced \u3000"}};

IDTagSet SourceTags() {
    IDTagSet s;
    for (const auto& tag : kSourceTags)
        s.Add(tag[0], tag[1]);
    s.AddData(u"_albumart_1_Front Album Cover", kCover, sizeof kCover);
    return s;
}

} // namespace

TEST(EncoderTags, CommandLineAndSourceTagsAreMergedRewrittenAndCleaned) {
    String dir = NewWorkDir("enctags");
    IDTagSet info;
    info.Add(u"Audio Quality", u"Lossless");
    String tags = WriteBlock(dir + u"tags.bin", SourceTags());
    String second = WriteBlock(dir + u"info.bin", info);
    String in =
        WriteScript(dir, "in.wmt",
                    "tagdata " + Narrow(tags) + "\nseconddata " + Narrow(second) + "\nblock 400\n");
    WriteText(StageDir() + u"Versions\\Compression\\TestEnc.txt", "Release 2.0 (libtest 1.5)");
    String dump = dir + u"received.bin";
    String args = u"-infile=\"" + in + u"\" -outfile=\"" + dir +
                  u"out.raw\" -convert_to=TestEnc -tagdump=\"" + dump + u"\"";
    RunResult r =
        RunWavemill(args + u" -tag=\"title=Cmd {qt}Title{qt}\" -tag==ignored -tag=\"genre=Jazz\"");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    IDTagSet got = ReadBlock(dump);
    EXPECT_EQ(got.GetValue(u"title"), u"Cmd \"Title\"");
    EXPECT_EQ(got.GetValue(u"genre"), u"Jazz");
    EXPECT_EQ(got.GetValue(u"artist"), u"Source Artist");
    EXPECT_EQ(got.GetValue(u"Encoded By"), u"Tonewerk Wavemill 1.0");
    EXPECT_EQ(got.GetValue(u"Encoder"), u"libtest 1.5");
    EXPECT_EQ(got.GetValue(u"Source"), u"CD >> Lossless [wmt]");
    EXPECT_EQ(got.GetValue(u"comment"), u"spaced");
    for (const char16_t* dropped : {u"Encoding Tool", u"replaygain_track_gain", u"ITUNSMPB"})
        EXPECT_FALSE(got.Find(dropped)) << Narrow(dropped);
    const IDTagEntry* art = got.FindAlbumArt(1);
    EXPECT_TRUE(art && art->Data == std::vector<uint8_t>(std::begin(kCover), std::end(kCover)));

    // An encoder or an effect that asks for replay gain keeps it; ITUNSMPB never survives.
    for (const char16_t* asks : {u" -sendreplaygain=1", u" -dspeffect1=\"TestDsp=replaygain=1\""}) {
        r = RunWavemill(args + asks);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        got = ReadBlock(dump);
        EXPECT_EQ(got.GetValue(u"replaygain_track_gain"), u"-3.1 dB") << Narrow(asks);
        EXPECT_FALSE(got.Find(u"ITUNSMPB"));
    }

    // An effect that changes the level drops the source's replay gain; the user's -tag stands.
    r = RunWavemill(args + u" -sendreplaygain=1 -dspeffect1=\"TestDsp=live=1 level=1\"" +
                    u" -tag=\"replaygain_album_gain=-4.2 dB\"");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    got = ReadBlock(dump);
    EXPECT_FALSE(got.Find(u"replaygain_track_gain"));
    EXPECT_EQ(got.GetValue(u"replaygain_album_gain"), u"-4.2 dB");

    // An .IGNORE output turns off only the tag writer: the encoder, writing its own files,
    // still gets the tags. -noidtag hands it none.
    r = RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + dir +
                    u"out.IGNORE\" -convert_to=TestEnc -tagdump=\"" + dump + u"\"");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBlock(dump).GetValue(u"artist"), u"Source Artist");
    r = RunWavemill(args + u" -noidtag");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(ReadBytes(dump).empty());
    DeleteFileW(W(StageDir() + u"Versions\\Compression\\TestEnc.txt"));
}

TEST(EncoderTags, StandardInputTakesItsTagsFromTheIdtagsFile) {
    String dir = NewWorkDir("stdintags");
    IDTagSet source;
    source.Add(u"title", u"Piped Title");
    String tags = WriteBlock(dir + u"tags.bin", source);
    String dump = dir + u"received.bin";
    RunOptions o;
    o.stdinData.assign(400, 0);
    RunResult r = RunWavemill(u"-infile=- -outfile=\"" + dir +
                                  u"out.raw\" -convert_to=TestEnc -sourcefreq=44100 "
                                  u"-sourcechannels=2 -sourcebits=16 -idtags=\"" +
                                  tags + u"\" -tagdump=\"" + dump + u"\"",
                              o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    IDTagSet got = ReadBlock(dump);
    EXPECT_EQ(got.GetValue(u"title"), u"Piped Title");
    // The converter rewrites its own tags only when the source had them.
    EXPECT_FALSE(got.Find(u"Encoded By"));
    EXPECT_FALSE(got.Find(u"Encoder"));

    // A file that is not a tag block fails clearly instead of passing garbage names on.
    WriteText(dir + u"tags.txt", "title=Not a block\r\n");
    r = RunWavemill(u"-infile=- -outfile=\"" + dir +
                        u"bad.raw\" -convert_to=TestEnc -sourcefreq=44100 -sourcechannels=2 "
                        u"-sourcebits=16 -idtags=\"" +
                        dir + u"tags.txt\"",
                    o);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(r.err, "does not hold a tag block")) << r.err;
}

TEST(TagWriter, WritesThroughTheTagLoadDecoderOrLeavesTheFileAlone) {
    String dir = NewWorkDir("tagwriter");
    String tags = WriteBlock(dir + u"tags.bin", SourceTags());
    String in = WriteScript(dir, "in.wmt", "tagdata " + Narrow(tags) + "\nblock 400\n");
    String written = dir + u"written.bin", out = dir + u"out.raw";
    RunOptions o;
    o.env = {{"WAVEMILL_TEST_IDTAGS", Narrow(written)}};
    auto run = [&](const String& target, const String& extra) {
        DeleteFileW(W(written));
        return RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + target +
                               u"\" -convert_to=TestEnc -tagafter=1" + extra,
                           o);
    };
    RunResult r = run(out, u" -fntousefortagloaddec=\"" + dir + u"tagload.wmt\"");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(Contains(r.out, "Writing ID Tags: Done\r\n")) << r.out;
    // The tag block, then the UTF-16 name of the file it was written to.
    IDTagSet got = ReadBlock(written);
    EXPECT_EQ(got.GetValue(u"title"), u"Source Title");
    Bytes bytes = ReadBytes(written);
    size_t blockSize = got.Serialize().size();
    ASSERT_GT(bytes.size(), blockSize);
    EXPECT_EQ(DecodeUtf16(Bytes(bytes.begin() + blockSize, bytes.end())), Narrow(out));

    // No tag writing: noidtag, an .IGNORE output, a tag-load name ending in .iGnore, and an
    // output type no decoder serves (the file stays untagged, the run still succeeds).
    const std::pair<String, String> skipped[] = {
        {out, u" -noidtag -fntousefortagloaddec=x.wmt"},
        {dir + u"out.IGNORE", u" -fntousefortagloaddec=x.wmt"},
        {out, u" -fntousefortagloaddec=\"x.iGnore\""},
        {out, u""}};
    for (const auto& [target, extra] : skipped) {
        EXPECT_EQ(run(target, extra).exitCode, 0) << Narrow(extra);
        EXPECT_FALSE(Exists(written)) << Narrow(extra);
    }

    // A plug-in that refuses ten times fails the run.
    o.env = {{"WAVEMILL_TEST_IDTAGS", "refuse"}};
    r = run(out, u" -fntousefortagloaddec=x.wmt");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(r.err, "Unable to tag file '" + Narrow(out) + "'")) << r.err;
}
