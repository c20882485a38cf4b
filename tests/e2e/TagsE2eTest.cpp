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
    std::vector<char> bytes = ReadBytes(path);
    IDTagSet set;
    set.Deserialize(bytes.data(), bytes.size());
    return set;
}

const uint8_t kCover[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 1, 2, 3};

IDTagSet SourceTags() {
    IDTagSet s;
    s.Add(u"title", u"Source Title");
    s.Add(u"artist", u"Source Artist");
    s.Add(u"Encoded By", u"someone");
    s.Add(u"Encoder", u"old encoder");
    s.Add(u"Source", u"CD");
    s.Add(u"Encoding Tool", u"tool");
    s.Add(u"replaygain_track_gain", u"-3.1 dB");
    s.Add(u"ITUNSMPB", u"00000000");
    s.Add(u"comment", u"\u00A0 spaced \u3000");
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
    RunResult r = RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + dir +
                              u"out.raw\" -convert_to=TestEnc -tag=\"title=Cmd {qt}Title{qt}\" "
                              u"-tag==ignored -tag=\"genre=Jazz\" -tagdump=\"" +
                              dump + u"\"");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    IDTagSet got = ReadBlock(dump);
    EXPECT_EQ(got.GetValue(u"title"), u"Cmd \"Title\"");
    EXPECT_EQ(got.GetValue(u"genre"), u"Jazz");
    EXPECT_EQ(got.GetValue(u"artist"), u"Source Artist");
    EXPECT_EQ(got.GetValue(u"Encoded By"), u"Tonewerk Wavemill 1.0");
    EXPECT_EQ(got.GetValue(u"Encoder"), u"libtest 1.5");
    EXPECT_EQ(got.GetValue(u"Source"), u"CD >> Lossless [wmt]");
    EXPECT_EQ(got.GetValue(u"comment"), u"spaced");
    EXPECT_FALSE(got.Find(u"Encoding Tool"));
    EXPECT_FALSE(got.Find(u"replaygain_track_gain"));
    EXPECT_FALSE(got.Find(u"ITUNSMPB"));
    const IDTagEntry* art = got.FindAlbumArt(1);
    ASSERT_TRUE(art);
    EXPECT_EQ(art->Data, std::vector<uint8_t>(std::begin(kCover), std::end(kCover)));

    // An encoder that asks for replay gain keeps it; ITUNSMPB never survives.
    r = RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + dir +
                    u"out2.raw\" -convert_to=TestEnc -replaygain=1 -tagdump=\"" + dump + u"\"");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    got = ReadBlock(dump);
    EXPECT_EQ(got.GetValue(u"replaygain_track_gain"), u"-3.1 dB");
    EXPECT_FALSE(got.Find(u"ITUNSMPB"));
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
}

TEST(TagWriter, WritesThroughTheTagLoadDecoderOrLeavesTheFileAlone) {
    String dir = NewWorkDir("tagwriter");
    String tags = WriteBlock(dir + u"tags.bin", SourceTags());
    String in = WriteScript(dir, "in.wmt", "tagdata " + Narrow(tags) + "\nblock 400\n");
    String written = dir + u"written.bin";
    RunOptions o;
    o.env = {{"WAVEMILL_TEST_IDTAGS", Narrow(written)}};
    auto run = [&](const String& out, const String& extra, const RunOptions& opts) {
        DeleteFileW(W(written));
        return RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + out +
                               u"\" -convert_to=TestEnc -tagafter=1" + extra,
                           opts);
    };
    String out = dir + u"out.raw";
    RunResult r = run(out, u" -fntousefortagloaddec=\"" + dir + u"tagload.wmt\"", o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(r.out.find("Writing ID Tags: Done\r\n") != std::string::npos) << r.out;
    std::vector<char> bytes = ReadBytes(written);
    IDTagSet got;
    got.Deserialize(bytes.data(), bytes.size());
    EXPECT_EQ(got.GetValue(u"title"), u"Source Title");
    std::vector<uint8_t> block = got.Serialize();
    ASSERT_GT(bytes.size(), block.size());
    EXPECT_EQ(Narrow(StringView(reinterpret_cast<const char16_t*>(bytes.data() + block.size()),
                                (bytes.size() - block.size()) / 2)),
              Narrow(out));

    // No tag writing: noidtag, an .IGNORE output, a tag-load name ending in .iGnore, and an
    // output type no decoder serves (the file stays untagged, the run still succeeds).
    for (const String& extra : {String(u" -noidtag -fntousefortagloaddec=x.wmt"),
                                String(u" -fntousefortagloaddec=\"x.iGnore\""), String(u"")}) {
        r = run(out, extra, o);
        EXPECT_EQ(r.exitCode, 0) << Narrow(extra) << r.err;
        EXPECT_FALSE(Exists(written)) << Narrow(extra);
    }
    r = run(dir + u"out.IGNORE", u" -fntousefortagloaddec=x.wmt", o);
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_FALSE(Exists(written));

    // A plug-in that refuses ten times fails the run.
    o.env = {{"WAVEMILL_TEST_IDTAGS", "refuse"}};
    r = run(out, u" -fntousefortagloaddec=x.wmt", o);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.find("Unable to tag file '" + Narrow(out) + "'") != std::string::npos)
        << r.err;
}
