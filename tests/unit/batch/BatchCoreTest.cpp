// The batch program's portable rules: its command line, output names, settled collisions, the
// record of outputs and the resume decision, the converters' lines, progress figures and the
// report.
#include "batch/Adaptation.h"
#include "batch/BatchArguments.h"
#include "batch/BatchProgress.h"
#include "batch/BatchReport.h"
#include "batch/Collisions.h"
#include "batch/OutputNames.h"
#include "batch/OutputRecord.h"
#include "batch/ParentLines.h"
#include "batch/PathFilter.h"

#include <gtest/gtest.h>

#include <map>

using namespace wm;

namespace {

bool Parse(const StringList& args, BatchOptions& o, String& error,
           const StringList& existing = {}) {
    auto exists = [&](const String& p) {
        for (const String& e : existing)
            if (e == p)
                return true;
        return false;
    };
    return ParseBatchArguments(args, exists, o, error);
}

OutputClaim Claim(StringView source, StringView output, StringView disc = {}) {
    OutputClaim c;
    c.source = source;
    c.output = output;
    c.disc = disc;
    return c;
}

} // namespace

TEST(BatchArguments, SplitsOwnOptionsInputsAndWhatGoesToEachConversion) {
    BatchOptions o;
    String error;
    ASSERT_TRUE(Parse({u"-convert_to=MP3", u"-V", u"2", u"-out=D:\\Phone", u"D:\\Music",
                       u"-dspeffect1=Volume=gain=-3", u"-no-padding", u"E:\\More\\one.flac",
                       u"--jobs", u"3", u"-report=r.JSON", u"-overwrite", u"-collide=skip"},
                      o, error, {u"E:\\More\\one.flac"}))
        << Narrow(error);
    EXPECT_EQ(o.codec, u"MP3");
    EXPECT_EQ(o.outFolder, u"D:\\Phone");
    EXPECT_EQ(o.inputs, (StringList{u"D:\\Music", u"E:\\More\\one.flac"}));
    EXPECT_EQ(o.passThrough, u" -V=\"2\" -dspeffect1=\"Volume=gain=-3\" -no-padding");
    EXPECT_EQ(o.jobs, 3u);
    EXPECT_EQ(o.reportFormat, ReportFormat::kJsonLines);
    EXPECT_TRUE(o.overwrite);
    EXPECT_EQ(o.hangSeconds, 60u);
    EXPECT_EQ(o.collide, CollidePolicy::kSkip);
}

TEST(BatchArguments, RefusesWhatCannotMakeABatch) {
    BatchOptions o;
    String error;
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"-outfile=x.flac", u"a.wav"}, o, error));
    EXPECT_EQ(error, u"-outfile is set by the batch for each conversion.");
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"-jobs=0", u"a.wav"}, o, error));
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"-hang=soon", u"a.wav"}, o, error));
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"-collide=rename", u"a.wav"}, o, error));
    EXPECT_EQ(error, u"-collide takes suffix or skip, not 'rename'.");
    EXPECT_FALSE(Parse({u"a.wav"}, o, error));
    EXPECT_FALSE(Parse({u"-convert_to=FLAC"}, o, error));
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"a.wav", u"-pattern"}, o, error));
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"-file=a.wav"}, o, error));
    EXPECT_EQ(error, u"A planned job takes both -file=<source> and -as=<output>.");
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"-file=a.wav", u"-as=a.flac", u"b.wav"}, o, error));
    EXPECT_TRUE(Parse({u"-convert_to=FLAC", u"-file", u"a.wav", u"-as", u"a.flac"}, o, error));
    EXPECT_EQ(o.jobSource + u"|" + o.jobOutput, u"a.wav|a.flac");
    EXPECT_TRUE(Parse({u"-help"}, o, error));
    EXPECT_TRUE(o.help);
}

TEST(OutputNames, MirrorAndPatternWithFallbacksAndForbiddenCharacters) {
    EXPECT_EQ(MirroredOutput(u"D:\\Phone", u"Jazz\\a.b.flac", u".mp3"),
              u"D:\\Phone\\Jazz\\a.b.mp3");
    std::map<String, String> tags{
        {u"artist", u"AC/DC"}, {u"album", u"What? Now: 2"}, {u"track", u"3/12"}};
    auto lookup = [&](StringView n) {
        auto it = tags.find(String(n));
        return it == tags.end() ? String() : it->second;
    };
    EXPECT_EQ(PatternOutput(u"out\\", u"%artist%\\%album%\\%track% %title%", lookup,
                            u"C:\\in\\song one.flac", u".mp3"),
              u"out\\AC_DC\\What_ Now_ 2\\03 song one.mp3");
    tags = {{u"title", u"con"}, {u"year", u"1999. "}};
    EXPECT_EQ(PatternOutput(u"o", u"%albumartist%/%year%/%title%", lookup, u"x.wav", u".flac"),
              u"o\\Unknown Artist\\1999\\_con.flac");
    EXPECT_EQ(SafeNamePart(u"COM3.txt"), u"_COM3.txt");
    EXPECT_EQ(SafeNamePart(u"COM0"), u"COM0");
    EXPECT_EQ(SafeNamePart(u" . "), u"_");
}

TEST(OutputNames, TagNamesAreOneSetAndSelectedFoldersKeepTheirName) {
    std::map<String, String> tags{{u"artist", u"Band"}, {u"track", u"4"}, {u"disc", u"2/3"}};
    auto lookup = [&](StringView n) {
        auto it = tags.find(String(n));
        return it == tags.end() ? String() : it->second;
    };
    for (StringView spelling : {u"%album artist%", u"%AlbumArtist%", u"%album_artist%"})
        EXPECT_EQ(PatternOutput(u"o", spelling, lookup, u"x.wav", u".mp3"), u"o\\Band.mp3")
            << Narrow(spelling);
    EXPECT_EQ(PatternOutput(u"o", u"%discnumber%-%tracknumber%", lookup, u"x.wav", u".mp3"),
              u"o\\2-04.mp3");
    EXPECT_EQ(DiscOf(lookup), u"2");
    tags.clear();
    EXPECT_EQ(DiscOf(lookup), u"");

    EXPECT_EQ(SelectedFolderPrefix(u"C:\\Lib\\Album A\\", u"D:\\Out\\"), u"Album A\\");
    EXPECT_EQ(SelectedFolderPrefix(u"C:\\Lib\\", u"c:\\lib"), u"");
    EXPECT_EQ(SelectedFolderPrefix(u"E:\\", u"D:\\Out\\"), u"");
}

TEST(PathFilter, PatternsAreCaseBlindWithStarsAndTheTopMatchesALeadingStarSeparator) {
    EXPECT_TRUE(WildcardMatch(u"*.FL?C", u"Jazz\\a.flac"));
    EXPECT_FALSE(WildcardMatch(u"*.fl?c", u"Jazz\\a.flac.txt"));
    EXPECT_TRUE(WildcardMatch(u"*a*b*c", u"xaybzbc"));
    EXPECT_FALSE(WildcardMatch(u"a?", u"a"));
    EXPECT_TRUE(WildcardMatch(u"Live/*", u"live\\x.mp3"));

    const PathFilter podcasts(u"", u"*\\Podcasts\\*");
    EXPECT_FALSE(podcasts.Keeps(u"Podcasts\\show.mp3")); // at the top of the selected folder
    EXPECT_FALSE(podcasts.Keeps(u"Talk\\podcasts\\show.mp3"));
    EXPECT_TRUE(podcasts.Keeps(u"Music\\Podcasts.flac"));
    const PathFilter lossless(u"*.flac;*.wav", u"*demo*");
    EXPECT_TRUE(lossless.Keeps(u"A\\01.WAV"));
    EXPECT_FALSE(lossless.Keeps(u"A\\01.mp3"));
    EXPECT_FALSE(lossless.Keeps(u"A\\demo 01.flac"));
    EXPECT_TRUE(MatchesAny(u";*.jpg;;*.cue", u"cover.JPG"));
    EXPECT_FALSE(MatchesAny(u"", u"cover.jpg"));
}

TEST(Adaptation, EachSourceIsFittedToWhatTheEncoderTakes) {
    const SourceShape cd{44100, 2, 16, false};
    EXPECT_TRUE(AdaptTo(cd, LimitsOf(u"mp3")).effects.empty());
    EXPECT_TRUE(AdaptTo(cd, LimitsOf(u"FLAC")).effects.empty());

    const Adaptation surround = AdaptTo({192000, 6, 24, false}, LimitsOf(u"MP3"));
    EXPECT_EQ(surround.effects, (StringList{u"Channels=channels=2", u"Resample=rate=48000"}));
    EXPECT_EQ(surround.notes,
              (StringList{u"down-mixed 6 to 2 channels", u"resampled 192000 Hz to 48000 Hz"}));
    // AAC holds 5.1 and 7.1 but not 6.1; 22.05 kHz is in its table, 20 kHz goes up to 22.05.
    EXPECT_EQ(AdaptTo({20000, 7, 16, false}, LimitsOf(u"AAC")).effects,
              (StringList{u"Channels=channels=6", u"Resample=rate=22050"}));
    EXPECT_TRUE(AdaptTo({22050, 6, 16, false}, LimitsOf(u"AAC")).effects.empty());
    EXPECT_EQ(AdaptTo({44100, 2, 32, true}, LimitsOf(u"FLAC")).effects,
              StringList{u"BitDepth=bits=24"});
    EXPECT_TRUE(AdaptTo({44100, 2, 32, true}, LimitsOf(u"MP3")).effects.empty());
    EXPECT_TRUE(AdaptTo({7, 12, 64, true}, LimitsOf(u"Opus")).effects.empty());

    EXPECT_EQ(AdaptingEffectOptions({u"Channels=channels=2"},
                                    u" -V=\"2\" -dspeffect2=\"Volume=gain=-1\""),
              u" -dspeffect3=\"Channels=channels=2\"");
    EXPECT_EQ(AdaptingEffectOptions({u"A=x", u"B=y"}, u""),
              u" -dspeffect1=\"A=x\" -dspeffect2=\"B=y\"");
}

TEST(Collisions, EachIsSettledByThePolicyInSourceOrder) {
    // Given out of order: the first by path keeps the plain name on every run.
    std::vector<OutputClaim> claims{
        Claim(u"C:\\L\\Disc 2\\01.flac", u"O\\01 Intro.mp3", u"2"),
        Claim(u"C:\\L\\Disc 1\\01.flac", u"O\\01 Intro.mp3", u"1"),
        Claim(u"C:\\L\\Track.wav", u"O\\Track.mp3"),
        Claim(u"C:\\L\\Track.flac", u"O\\track.MP3"),
        Claim(u"C:\\L\\x\\a.flac", u"O\\a.mp3"),
        Claim(u"C:\\L\\y\\a.flac", u"O\\a.mp3"),
        Claim(u"C:\\L\\z\\A.flac", u"O\\A.mp3"),
        Claim(u"C:\\L\\s.wav", u"C:\\L\\s.flac"),
    };
    const StringList sources{u"C:\\L\\s.flac"};
    std::vector<OutputClaim> suffixed = claims;
    SettleCollisions(suffixed, sources, CollidePolicy::kSuffix);
    StringList outputs;
    for (const OutputClaim& c : suffixed)
        outputs.push_back(c.output);
    EXPECT_EQ(outputs, (StringList{u"O\\01 Intro (disc 2).mp3", u"O\\01 Intro.mp3",
                                   u"O\\Track (wav).mp3", u"O\\track.MP3", u"O\\a.mp3",
                                   u"O\\a (2).mp3", u"O\\A (3).mp3", u"C:\\L\\s (wav).flac"}));
    EXPECT_EQ(suffixed[0].note, u"named '01 Intro (disc 2).mp3': '01 Intro.mp3' is taken by the "
                                u"output of 'C:\\L\\Disc 1\\01.flac'");
    EXPECT_EQ(suffixed[7].note,
              u"named 's (wav).flac': 's.flac' is taken by the source 'C:\\L\\s.flac'");
    EXPECT_TRUE(suffixed[1].note.empty());
    for (const OutputClaim& c : suffixed)
        EXPECT_FALSE(c.skipped);

    SettleCollisions(claims, sources, CollidePolicy::kSkip);
    StringList skipped;
    for (const OutputClaim& c : claims)
        if (c.skipped)
            skipped.push_back(c.source);
    EXPECT_EQ(skipped, (StringList{u"C:\\L\\Disc 2\\01.flac", u"C:\\L\\Track.wav",
                                   u"C:\\L\\y\\a.flac", u"C:\\L\\z\\A.flac", u"C:\\L\\s.wav"}));
    EXPECT_EQ(claims[2].note,
              u"not converted: 'Track.mp3' is taken by the output of 'C:\\L\\Track.flac'");
    EXPECT_EQ(claims[2].output, u"O\\Track.mp3");

    CollidePolicy policy = CollidePolicy::kSuffix;
    EXPECT_TRUE(ParseCollidePolicy(u"SKIP", policy));
    EXPECT_EQ(policy, CollidePolicy::kSkip);
    EXPECT_FALSE(ParseCollidePolicy(u"rename", policy));
}

TEST(OutputRecord, RerunsKnowTheirOutputsAndReconvertOtherSettings) {
    OutputRecord written(u"D:\\Out");
    const std::string text = written.Line({u"D:\\Out\\A\\x.flac", u"C:\\L\\x.wav", u"FLAC -8"}) +
                             written.Line({u"D:\\Out\\y.flac", u"C:\\L\\y.wav", u"FLAC\t-8"}) +
                             written.Line({u"D:\\Out\\y.flac", u"C:\\L\\y.wav", u"FLAC -5"}) +
                             "z.flac\tcut";
    EXPECT_EQ(text.substr(0, text.find('\n')), "A\\x.flac\tC:\\L\\x.wav\tFLAC -8");
    OutputRecord read(u"D:\\Out\\");
    read.Load(text);
    const RecordEntry* x = read.Find(u"d:\\out\\a\\X.FLAC");
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->source, u"C:\\L\\x.wav");
    ASSERT_NE(read.Find(u"D:\\Out\\y.flac"), nullptr);
    EXPECT_EQ(read.Find(u"D:\\Out\\y.flac")->settings, u"FLAC -5"); // the last line wins
    EXPECT_EQ(read.Find(u"D:\\Out\\z.flac"), nullptr);              // cut short: ignored
    // Moved with its tree, the record still knows its outputs.
    OutputRecord moved(u"E:\\Elsewhere");
    moved.Load(text);
    EXPECT_NE(moved.Find(u"E:\\Elsewhere\\A\\x.flac"), nullptr);

    const String settings = SettingsText(u"FLAC", u" -8");
    EXPECT_EQ(ConvertReason(true, 20, 20, false, x, u"c:\\l\\X.wav", settings), u"");
    EXPECT_EQ(ConvertReason(true, 20, 20, false, nullptr, u"C:\\L\\x.wav", settings), u"");
    EXPECT_EQ(ConvertReason(false, 0, 20, false, x, u"C:\\L\\x.wav", settings), u"new");
    EXPECT_EQ(ConvertReason(true, 19, 20, false, x, u"C:\\L\\x.wav", settings),
              u"the source is newer");
    EXPECT_EQ(ConvertReason(true, 30, 20, true, x, u"C:\\L\\x.wav", settings), u"-overwrite");
    EXPECT_EQ(ConvertReason(true, 20, 20, false, x, u"C:\\L\\x.wav", u"FLAC -5"),
              u"made with other settings (FLAC -8)");
    EXPECT_EQ(ConvertReason(true, 20, 20, false, x, u"C:\\L\\w.wav", settings),
              u"made from 'C:\\L\\x.wav'");
}

TEST(ParentLines, LinesSplitAnywhereInTheByteStreamAreParsed) {
    const String text = u"MSGTO: Vrx: msLen: 30500\r\nConverting...\r\nMSGTO: Vrx: PCDone: 42 %"
                        u"\r\nMSGTO: Vrx: FileName: C:\\o\\ä.mp3\r\nMSGTO: Vrx: Action: Writing";
    std::string bytes;
    for (char16_t c : text)
        bytes += {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
    Utf16LineSplitter split;
    ConverterReport report;
    int others = 0;
    for (size_t i = 0; i < bytes.size(); i += 3) { // odd pieces split characters in two
        split.Feed(bytes.data() + i, std::min<size_t>(3, bytes.size() - i));
        for (String line; split.NextLine(line);)
            others += !TakeParentLine(line, report);
    }
    EXPECT_EQ(report.lengthMs, 30500);
    EXPECT_EQ(report.percent, 42);
    EXPECT_EQ(report.filesWritten, StringList{u"C:\\o\\ä.mp3"});
    EXPECT_EQ(others, 1);
    EXPECT_EQ(report.information, StringList{u"Converting..."});
    EXPECT_EQ(split.Rest(), u"MSGTO: Vrx: Action: Writing");

    TakeErrorLine(
        u"Error: Encoder 'MP3' refused a block of audio: disk full.  [clTwEncoder::Encode]",
        report);
    TakeErrorLine(u"Error: a later line", report);
    EXPECT_EQ(report.firstError, u"Error: Encoder 'MP3' refused a block of audio: disk full.");
    TakeParentLine(u"Information: 96000 Hz made 48000 Hz.  [TwWavemill::TwWavemill]", report);
    EXPECT_EQ(report.information.back(), u"Information: 96000 Hz made 48000 Hz.");
}

TEST(BatchProgress, TimeLeftIsAudioLeftAtTheMeasuredSpeed) {
    BatchProgressState s;
    s.filesTotal = 5;
    s.filesDone = 1;
    s.bytesTotal = 4000;
    s.bytesFinished = 1000;
    s.audioMsFinished = 10000; // a FLAC of 1000 bytes held 10 s
    s.measured[SourceType(u"a.flac")] = {10000, 1000};
    // A running WAV of known length, a running FLAC not yet opened, a waiting FLAC and MP3.
    s.running = {{400, 20000, 50, u"b.wav"}, {500, -1, 20, u"c.FLAC"}};
    s.bytesWaiting = {{SourceType(u"d.flac"), 1000}, {SourceType(u"e.mp3"), 100}};
    const ProgressFigures f = ComputeProgress(s, 10000);
    // Done: 10 s + half of 20 s + nothing of the unopened FLAC's share counted as audio.
    EXPECT_EQ(f.audioMsDone, 20000u);
    EXPECT_DOUBLE_EQ(f.speed, 2.0);
    // Left: 10 s of the WAV, 80% of 5 s, 10 s of FLAC, and the MP3 at the rate of all seen
    // (30 s in 1400 bytes): 10 + 4 + 10 + 2.142857 s, at 2x.
    EXPECT_EQ(f.msLeft, 13071);
    EXPECT_NEAR(f.fraction, 20.0 / (20.0 + 26.142857), 1e-6);
    EXPECT_EQ(OverallLine(s, f), u"Files 1/5  Audio 0:00:20 of 0:00:46  2.0x  Left 0:00:13  (43%)");
    EXPECT_EQ(RunningLines(s), (StringList{u"  50%  b.wav", u"  20%  c.FLAC"}));

    // Nothing measured yet: no time left is guessed, the share of bytes is shown.
    BatchProgressState fresh;
    fresh.bytesTotal = 1000;
    fresh.running = {{1000, -1, 30, u"a.flac"}};
    fresh.bytesWaiting = {{SourceType(u"b.flac"), 0}};
    const ProgressFigures start = ComputeProgress(fresh, 5000);
    EXPECT_EQ(start.msLeft, -1);
    EXPECT_EQ(start.audioMsTotal, -1);
    EXPECT_DOUBLE_EQ(start.fraction, 0.3);
}

TEST(BatchReport, LinesSummaryExitStatusAndPlan) {
    FileOutcome ok{
        u"C:\\in\\a,b.wav", u"D:\\a,b.flac", FileStatus::kConverted, u"", 30000, 1.5, 1234, {}};
    FileOutcome bad{u"C:\\in\\\"q\".wav",
                    u"D:\\q.flac",
                    FileStatus::kFailed,
                    u"hung: no progress for 60 s",
                    -1,
                    60.25,
                    0,
                    {}};
    ok.notes = {u"Information: 96000 Hz made 48000 Hz", u"b, c"};
    EXPECT_EQ(ReportLine(ok, ReportFormat::kCsv),
              u"\"C:\\in\\a,b.wav\",\"D:\\a,b.flac\",converted,,30000,1.500,1234,"
              u"\"Information: 96000 Hz made 48000 Hz; b, c\"");
    EXPECT_EQ(ReportLine(bad, ReportFormat::kCsv),
              u"\"C:\\in\\\"\"q\"\".wav\",D:\\q.flac,failed,hung: no progress for 60 s,,60.250,0,");
    EXPECT_EQ(ReportLine(bad, ReportFormat::kJsonLines),
              u"{\"input\":\"C:\\\\in\\\\\\\"q\\\".wav\",\"output\":\"D:\\\\q.flac\",\"status\":"
              u"\"failed\",\"reason\":\"hung: no progress for 60 s\",\"audio_ms\":null,"
              u"\"seconds\":60.250,\"bytes\":0,\"notes\":\"\"}");
    EXPECT_EQ(InUserNames(u"cannot write 'D:\\o\\a.wmbatch-part.mp3': disk full",
                          BatchTempName(u"D:\\o\\a.mp3"), u"D:\\o\\a.mp3"),
              u"cannot write 'D:\\o\\a.mp3': disk full");

    const FileOutcome skipped = Outcome(u"s.wav", u"s.flac", FileStatus::kSkipped, u"up to date");
    EXPECT_EQ(SummaryLines({ok, skipped, bad}),
              (StringList{u"Converted 1, skipped 1, failed 1.",
                          u"  FAILED C:\\in\\\"q\".wav: hung: no progress for 60 s"}));
    const FileOutcome copied = Outcome(u"c.jpg", u"o\\c.jpg", FileStatus::kCopied);
    EXPECT_EQ(SummaryLines({ok, copied, skipped})[0],
              u"Converted 1, copied 1, skipped 1, failed 0.");
    EXPECT_EQ(SummaryLines({copied, skipped}).size(), 1u);
    EXPECT_EQ(ReportLine(copied, ReportFormat::kCsv), u"c.jpg,o\\c.jpg,copied,,,0.000,0,");
    EXPECT_EQ(SummaryLines({skipped})[1],
              u"Nothing to convert: every output is up to date or skipped.");
    EXPECT_EQ(BatchExitStatus({ok, skipped}), 0);
    EXPECT_EQ(BatchExitStatus({ok, bad}), 1);

    EXPECT_EQ(PlanLine(u"C:\\W\\WavemillBatch.exe", u"MP3", u"D:\\o", u"C:\\a b.wav",
                       u"D:\\o\\a b.mp3", u" -V=\"2\""),
              u"\"C:\\W\\WavemillBatch.exe\" -convert_to=\"MP3\" -out=\"D:\\o\" "
              u"-file=\"C:\\a b.wav\" -as=\"D:\\o\\a b.mp3\" -V=\"2\"");
}
