// Conversions end to end through the scripted test plug-ins: output bytes, progress, the
// failure paths, and what happens to an existing output file.
#include "tests/e2e/E2eSupport.h"

#include "process/UniqueHandle.h"
#include "process/WinString.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <thread>

using namespace wm;
using namespace wm::e2e;

namespace {

// The test decoder's audio: byte k of the stream is k mod 251.
Bytes Pattern(size_t n) {
    Bytes v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<uint8_t>(i % 251);
    return v;
}

String Args(const String& in, const String& out, const String& extra = u"",
            const String& codec = u"TestEnc") {
    return u"-infile=\"" + in + u"\" -outfile=\"" + out + u"\" -convert_to=" + codec + extra;
}

String EventName(const char16_t* prefix) {
    return prefix + Widen(std::to_string(GetCurrentProcessId()));
}

} // namespace

TEST(Conversion, UserModeShowsSettingsProgressAndSummary) {
    String dir = NewWorkDir("user");
    String in = WriteScript(dir, "tone.wmt", "sleep 5\nblock 17640 10\n");
    RunResult r = RunWavemill(Args(in, dir + u"out.raw"));
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_EQ(ReadBytes(dir + u"out.raw"), Pattern(176400));
    EXPECT_TRUE(Contains(r.out, "Encoding: TestEnc\r\nAudio Source: " + Narrow(in) +
                                    "\r\nAudio Destination: " + Narrow(dir) + "out.raw\r\n\r\n" +
                                    " 0%-----------25%-----------50%-----------75%-----------100%"
                                    "\r\n MSGTO: Vrx: msLen: 1000\r\n" +
                                    std::string(60, '*') + "\r\n\r\nConversion completed in "))
        << r.out;
    EXPECT_TRUE(Contains(r.out, " realtime encoding\r\n")) << r.out;
    EXPECT_EQ(r.err, "");
}

TEST(Conversion, FailuresKeepAnExistingOutput) {
    const std::tuple<std::string, const char16_t*, const char*, const char*> cases[] = {
        {"block 400\n", u"NoSuchCodec", "", "Unable to load encoder 'NoSuchCodec'."},
        {"block 400\n", u"NoRemoveConfig", "", "Unable to load encoder 'NoRemoveConfig'."},
        {"block 400\n", u"", "decoder", "Unable to load decoder for file type '.wmt'"},
        {"block 400\n", u"", "encoder", "Unable to load encoder 'TestEnc'."},
        {"fail Open\nblock 400\n", u"", "", "Error: Unable to open '"},
        {"block 400 5\nfail DecodeBlock 3\n", u"", "", "Error: Decoding '"},
        {"block 400\n", u"TestEnc -fail=Begin", "", "could not begin the conversion"},
        {"block 400 5\n", u"TestEnc -fail=EncodeBlock:2", "", "refused a block of audio"},
        {"block 400 5\n", u"TestEnc -fail=End", "", "could not finish"},
        {"block 400\nblock 3\nblock 400\n", u"", "",
         "Error: Audio data contains incomplete samples mid-stream.  [TwWavemill::TwWavemill]"},
    };
    String dir = NewWorkDir("fail");
    String out = dir + u"out.raw";
    for (const auto& [script, codec, failCreate, error] : cases) {
        WriteText(out, "precious");
        RunOptions o;
        o.env = {{"WAVEMILL_TEST_FAIL_CREATE", failCreate}};
        RunResult r = RunWavemill(
            Args(WriteScript(dir, "in.wmt", script), out, u"", *codec ? codec : u"TestEnc"), o);
        EXPECT_EQ(r.exitCode, 1) << error;
        EXPECT_TRUE(Contains(r.err, error)) << r.err;
        EXPECT_TRUE(Contains(r.out, "Conversion Failed.\r\n")) << error << ": " << r.out;
        EXPECT_EQ(ReadText(out), "precious") << error;
        EXPECT_FALSE(Exists(out + u".tmp.raw")) << error;
        if (Contains(error, "Unable to load encoder")) {
            EXPECT_TRUE(Contains(r.out, "MP3, NoRemoveConfig, Opus, TestEnc, Vorbis, Wave."))
                << r.out;
        }
    }
}

TEST(Conversion, OutputsReplacedThroughATemporaryNameUnlessIgnoredOrNew) {
    String dir = NewWorkDir("replace");
    String in = WriteScript(dir, "in.wmt", "block 4000 3\n");
    String log = dir + u"enc.log";
    String logArg = u" -tagafter=1 -log=\"" + log + u"\"";
    // Existing output: written as a temporary, then moved over the old file.
    // New output in folders that do not exist yet, and an .IGNORE output: written in place.
    for (const String& out : {dir + u"out.raw", dir + u"a\\b\\new.raw", dir + u"out.IgNoRe"}) {
        bool existing = !Contains(Narrow(out), "new.raw");
        if (existing)
            WriteText(out, "old");
        RunResult r = RunWavemill(Args(in, out, logArg));
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(ReadBytes(out), Pattern(12000));
        String written = out + (existing && out.ends_with(u".raw") ? u".tmp.raw" : u"");
        EXPECT_TRUE(Contains(ReadText(log), "output=" + Narrow(written) + "\n")) << ReadText(log);
        EXPECT_FALSE(Exists(out + u".tmp.raw"));
    }
}

// An encoder that says it succeeded is not believed without the output it was asked for,
// unless it named its own files; one that holds its temporary output open is named.
TEST(Conversion, NoSuccessWithoutTheOutput) {
    String dir = NewWorkDir("nooutput");
    String in = WriteScript(dir, "in.wmt", "block 4000 3\n");
    RunResult r = RunWavemill(Args(in, dir + u"missing.raw", u" -write=none"));
    EXPECT_EQ(r.exitCode, 1) << r.out;
    EXPECT_TRUE(Contains(r.err, "Error: Encoder 'TestEnc' reported success but wrote no output "
                                "file '" +
                                    Narrow(dir) + "missing.raw'."))
        << r.err;
    EXPECT_TRUE(Contains(r.out, "Conversion Failed.")) << r.out;

    r = RunWavemill(Args(in, dir + u"named.raw", u" -write=none -filenames=\"a.part1;a.part2\""));
    EXPECT_EQ(r.exitCode, 0) << "an encoder that named its own files: " << r.err;

    const String kept = dir + u"kept.raw";
    WriteText(kept, "precious");
    r = RunWavemill(Args(in, kept, u" -holdopen=1 -fail=End"));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(r.err, "Error: The temporary output '" + Narrow(kept) +
                                    ".tmp.raw' was left behind: it could not be deleted"))
        << r.err;
    EXPECT_EQ(ReadText(kept), "precious");
    // The next run to that output clears what the last one left.
    r = RunWavemill(Args(in, kept));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBytes(kept), Pattern(12000));
    EXPECT_FALSE(Exists(kept + u".tmp.raw"));
}

// A decoder whose "Decodes" list never ends is cut off and named, in -help and in the search for
// a decoder nobody claims; it has a tree of its own, so no other test meets it.
TEST(Conversion, AnEndlessDecodesListIsCutAndNamed) {
    const String tree = NewWorkDir("endless");
    for (const char16_t* folder : {u"decoder", u"encoder"})
        CreateDirectoryW(W(tree + folder), nullptr);
    const std::pair<String, String> copies[] = {
        {StageDir() + u"Wavemill.exe", tree + u"Wavemill.exe"},
        {StageDir() + u"..\\odd_plugins\\decoder\\EndlessDecodes.dll",
         tree + u"decoder\\EndlessDecodes.dll"},
        {StageDir() + u"encoder\\TestEnc.dll", tree + u"encoder\\TestEnc.dll"},
    };
    for (const auto& [from, to] : copies)
        ASSERT_TRUE(CopyFileW(W(from), W(to), FALSE)) << Narrow(from);
    RunOptions o;
    o.program = tree + u"Wavemill.exe";
    const char* named = "The decoder 'EndlessDecodes.dll' lists file types without end";
    RunResult help = RunWavemill(u"-help", o);
    ASSERT_FALSE(help.timedOut);
    EXPECT_EQ(help.exitCode, 1);
    EXPECT_TRUE(Contains(help.out, named)) << help.out;
    WriteText(tree + u"in.unclaimed", "x");
    RunResult r = RunWavemill(Args(tree + u"in.unclaimed", tree + u"out.raw"), o);
    ASSERT_FALSE(r.timedOut);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(r.err, "Unable to load decoder for file type '.unclaimed'")) << r.err;
    EXPECT_TRUE(Contains(r.out, named)) << r.out;
}

TEST(Conversion, IncompleteEndEmptyBlocksAndHarmlessOptions) {
    String dir = NewWorkDir("tail");
    String in = WriteScript(dir, "in.wmt", "block 1000\nempty 7\nblock 1000 2\nend 1001\n");
    RunResult r = RunWavemill(Args(in, dir + u"out.raw",
                                   u" -processor=0 -priority=IDLE -unknownoption=\"a b\" "
                                   u"-tmpfolder=\"C:\\no\\such\\folder\""));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    // An information line starts on a line of its own and an empty line follows it.
    const size_t info = r.out.find("\r\nInformation: Audio data contains incomplete samples");
    ASSERT_NE(info, std::string::npos) << r.out;
    EXPECT_EQ(r.out.substr(r.out.find("\r\n", info + 2), 4), "\r\n\r\n") << r.out;
    EXPECT_EQ(ReadBytes(dir + u"out.raw"), Pattern(3000));
    r = RunWavemill(Args(in, dir + u"out2.raw", u" -processor=999"));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(Contains(r.out, "Processor 999 is not available")) << r.out;
}

TEST(Conversion, QuitAndAfterConversionErrorEventsKeepTheOutput) {
    String dir = NewWorkDir("quit");
    String in = WriteScript(dir, "in.wmt", "sleep 20\nblock 400 500\n");
    String out = dir + u"out.raw";
    WriteText(out, "precious");
    UniqueHandle quit(CreateEventW(nullptr, TRUE, FALSE, W(EventName(u"WmTestQuit"))));
    // The decoder's close and the encoder's end both learn that the run failed.
    String closeLog = dir + u"close.log", encLog = dir + u"enc.log";
    RunOptions o;
    o.env = {{"WAVEMILL_TEST_CLOSE_LOG", Narrow(closeLog)}};
    RunResult r;
    std::thread run([&] {
        r = RunWavemill(
            Args(in, out, u" -evtquit=" + EventName(u"WmTestQuit") + u" -log=\"" + encLog + u"\""),
            o);
    });
    // Quit once the encoder has started writing the temporary file.
    for (int i = 0; i < 1000 && ReadBytes(out + u".tmp.raw").size() < 4000; ++i)
        Sleep(10);
    SetEvent(quit.get());
    run.join();
    EXPECT_EQ(r.exitCode, 1);
    // No plug-in said anything: the run names the cause itself.
    EXPECT_TRUE(Contains(r.err, "Error: The conversion failed: the parent asked the run to stop."))
        << r.err;
    EXPECT_EQ(ReadText(out), "precious");
    EXPECT_FALSE(Exists(out + u".tmp.raw"));
    EXPECT_EQ(ReadText(closeLog), "Close runError=1\n");
    EXPECT_TRUE(Contains(ReadText(encLog), "EndConversion runError=1")) << ReadText(encLog);

    // An event already set when the run finishes fails it.
    UniqueHandle after(CreateEventW(nullptr, TRUE, TRUE, W(EventName(u"WmTestAfter"))));
    in = WriteScript(dir, "in.wmt", "block 400 3\n");
    r = RunWavemill(Args(in, out, u" -evtafterconvseterror=" + EventName(u"WmTestAfter")));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(r.err, "the parent marked the run failed.")) << r.err;
    EXPECT_EQ(ReadText(out), "precious");
}

TEST(Conversion, FinalMoveWaitsForAnotherProcessToReleaseTheTarget) {
    String dir = NewWorkDir("held");
    String in = WriteScript(dir, "in.wmt", "block 4000 3\n");
    String out = dir + u"out.raw";
    String log = dir + u"enc.log";
    WriteText(out, "old");
    // This process holds the target open without sharing until the encoder has finished.
    UniqueHandle held(CreateFileW(W(out), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    RunResult r;
    std::thread run([&] { r = RunWavemill(Args(in, out, u" -log=\"" + log + u"\"")); });
    for (int i = 0; i < 1000 && !Contains(ReadText(log), "EndConversion"); ++i)
        Sleep(10);
    Sleep(300);
    held.reset();
    run.join();
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBytes(out), Pattern(12000));
}

TEST(StandardInput, WindowsPipeCarriesPcmToTheEnd) {
    String dir = NewWorkDir("stdin");
    auto run = [&](const char16_t* out, const String& format, const RunOptions& o) {
        return RunWavemill(
            u"-infile=- -outfile=\"" + dir + out + u"\" -convert_to=TestEnc" + format, o);
    };
    RunOptions o;
    o.stdinData = Pattern(400001); // ends with a quarter of a frame
    RunResult r = run(u"out.raw",
                      u" -sourcefreq=44100 -sourcechannels=2 -sourcebits=16 -sourcelength=2267", o);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(Contains(r.out, "Audio Source: Standard Input\r\n")) << r.out;
    EXPECT_TRUE(Contains(r.out, "incomplete samples at end")) << r.out;
    EXPECT_EQ(ReadBytes(dir + u"out.raw"), Pattern(400000));

    // 24-bit stereo written in 64 KiB pieces: no piece ends on a frame, and nothing is lost.
    o.stdinData = Pattern(6 * 40000);
    r = run(u"24.raw", u" -sourcefreq=48000 -sourcechannels=2 -sourcebits=24", o);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBytes(dir + u"24.raw"), o.stdinData);

    // A quoted "-" is a value, as a Windows parent writes it, not an argument quoted whole.
    o.stdinData = Pattern(4000);
    r = RunWavemill(u"-infile \"-\" -outfile \"" + dir +
                        u"quoted.raw\" -convert_to=TestEnc -sourcefreq=8000 -sourcechannels=1 "
                        u"-sourcebits=16",
                    o);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBytes(dir + u"quoted.raw"), Pattern(4000));

    // Closed at once, and no pipe at all (NUL): both end with no audio.
    const String small = u" -sourcefreq=8000 -sourcechannels=1 -sourcebits=8";
    o.stdinData.clear();
    EXPECT_EQ(run(u"empty.raw", small, o).exitCode, 0);
    EXPECT_TRUE(Exists(dir + u"empty.raw") && ReadBytes(dir + u"empty.raw").empty());
    o.stdinIsPipe = false;
    EXPECT_EQ(run(u"nul.raw", small, o).exitCode, 0);
    EXPECT_TRUE(Exists(dir + u"nul.raw"));

    r = run(u"x.raw", u"", o);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(r.err, "Error: RIFF WAVE StdInput not supported yet.")) << r.err;
}
