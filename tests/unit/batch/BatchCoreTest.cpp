// The batch program's portable rules: its command line, output names and collisions, the
// converters' lines, progress figures, the report and the resume decision.
#include "batch/BatchArguments.h"
#include "batch/BatchProgress.h"
#include "batch/BatchReport.h"
#include "batch/OutputNames.h"
#include "batch/ParentLines.h"

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

} // namespace

TEST(BatchArguments, SplitsOwnOptionsInputsAndWhatGoesToEachConversion) {
    BatchOptions o;
    String error;
    ASSERT_TRUE(Parse({u"-convert_to=MP3", u"-V", u"2", u"-out=D:\\Phone", u"D:\\Music",
                       u"-dspeffect1=Volume=gain=-3", u"-no-padding", u"E:\\More\\one.flac",
                       u"--jobs", u"3", u"-report=r.JSON", u"-overwrite"},
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
}

TEST(BatchArguments, RefusesWhatCannotMakeABatch) {
    BatchOptions o;
    String error;
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"-outfile=x.flac", u"a.wav"}, o, error));
    EXPECT_EQ(error, u"-outfile is set by the batch for each conversion.");
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"-jobs=0", u"a.wav"}, o, error));
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"-hang=soon", u"a.wav"}, o, error));
    EXPECT_FALSE(Parse({u"a.wav"}, o, error));
    EXPECT_FALSE(Parse({u"-convert_to=FLAC"}, o, error));
    EXPECT_FALSE(Parse({u"-convert_to=FLAC", u"a.wav", u"-pattern"}, o, error));
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

TEST(OutputNames, CollisionsAreFoundCaseBlindAndOverASource) {
    std::vector<SourceFile> sources{{u"C:\\a\\x.wav", u"x.wav", {}},
                                    {u"C:\\b\\X.flac", u"X.flac", {}},
                                    {u"C:\\c\\y.wav", u"y.wav", {}}};
    StringList lines = FindCollisions(sources, {u"D:\\x.mp3", u"d:/X.MP3", u"C:\\c\\y.wav"});
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], u"'C:\\a\\x.wav' and 'C:\\b\\X.flac' would both be written to 'd:/X.MP3'");
    EXPECT_EQ(lines[1], u"'C:\\c\\y.wav' would be written over a source: 'C:\\c\\y.wav'");
    EXPECT_TRUE(FindCollisions(sources, {u"D:\\1", u"D:\\2", u"D:\\3"}).empty());

    EXPECT_EQ(BatchTempName(u"D:\\a.b\\song.mp3"), u"D:\\a.b\\song.wmbatch-part.mp3");
    EXPECT_TRUE(IsBatchTempName(BatchTempName(u"x\\y.flac")));
    EXPECT_FALSE(IsBatchTempName(u"x\\y.flac"));
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
    EXPECT_EQ(split.Rest(), u"MSGTO: Vrx: Action: Writing");

    TakeErrorLine(
        u"Error: Encoder 'MP3' refused a block of audio: disk full.  [clTwEncoder::Encode]",
        report);
    TakeErrorLine(u"Error: a later line", report);
    EXPECT_EQ(report.firstError, u"Error: Encoder 'MP3' refused a block of audio: disk full.");
}

TEST(BatchProgress, WorkIsWeighedBySourceBytesAndTimeLeftFollows) {
    BatchProgressState s;
    s.filesTotal = 4;
    s.filesDone = 1;
    s.bytesTotal = 1000;
    s.bytesFinished = 200;
    s.audioMsFinished = 60000;
    s.running = {{400, 120000, 50, u"b.flac"}, {100, -1, 100, u"c.flac"}};
    const ProgressFigures f = ComputeProgress(s, 10000);
    EXPECT_DOUBLE_EQ(f.fraction, 0.5);
    EXPECT_EQ(f.audioMsDone, 120000u);
    EXPECT_DOUBLE_EQ(f.speed, 12.0);
    EXPECT_EQ(f.msLeft, 10000);
    EXPECT_EQ(OverallLine(s, f), u"Files 1/4  Audio 0:02:00  12.0x  Left 0:00:10  (50%)");
    EXPECT_EQ(RunningLines(s), (StringList{u"  50%  b.flac", u" 100%  c.flac"}));
    EXPECT_EQ(ComputeProgress(BatchProgressState{}, 0).msLeft, -1);
}

TEST(BatchReport, LinesSummaryExitStatusResumeAndPlan) {
    FileOutcome ok{
        u"C:\\in\\a,b.wav", u"D:\\a,b.flac", FileStatus::kConverted, u"", 30000, 1.5, 1234};
    FileOutcome bad{u"C:\\in\\\"q\".wav",
                    u"D:\\q.flac",
                    FileStatus::kFailed,
                    u"hung: no progress for 60 s",
                    -1,
                    60.25,
                    0};
    EXPECT_EQ(ReportLine(ok, ReportFormat::kCsv),
              u"\"C:\\in\\a,b.wav\",\"D:\\a,b.flac\",converted,,30000,1.500,1234");
    EXPECT_EQ(ReportLine(bad, ReportFormat::kCsv),
              u"\"C:\\in\\\"\"q\"\".wav\",D:\\q.flac,failed,hung: no progress for 60 s,,60.250,0");
    EXPECT_EQ(ReportLine(bad, ReportFormat::kJsonLines),
              u"{\"input\":\"C:\\\\in\\\\\\\"q\\\".wav\",\"output\":\"D:\\\\q.flac\",\"status\":"
              u"\"failed\",\"reason\":\"hung: no progress for 60 s\",\"audio_ms\":null,"
              u"\"seconds\":60.250,\"bytes\":0}");

    FileOutcome skipped{u"s.wav", u"s.flac", FileStatus::kSkipped, u"up to date"};
    EXPECT_EQ(SummaryLines({ok, skipped, bad}),
              (StringList{u"Converted 1, skipped 1, failed 1.",
                          u"  FAILED C:\\in\\\"q\".wav: hung: no progress for 60 s"}));
    EXPECT_EQ(SummaryLines({skipped})[1],
              u"Nothing to convert: every output is up to date or skipped.");
    EXPECT_EQ(BatchExitStatus({ok, skipped}), 0);
    EXPECT_EQ(BatchExitStatus({ok, bad}), 1);

    EXPECT_TRUE(OutputIsUpToDate(true, 20, 20, false));
    EXPECT_FALSE(OutputIsUpToDate(true, 19, 20, false));
    EXPECT_FALSE(OutputIsUpToDate(true, 30, 20, true));
    EXPECT_FALSE(OutputIsUpToDate(false, 30, 20, false));

    EXPECT_EQ(PlanLine(u"C:\\W\\Wavemill.exe", u"a b.wav", u"o\\a b.mp3", u"MP3", u" -V=\"2\""),
              u"\"C:\\W\\Wavemill.exe\" -infile=\"a b.wav\" -outfile=\"o\\a b.mp3\" "
              u"-convert_to=\"MP3\" -V=\"2\"");
}
