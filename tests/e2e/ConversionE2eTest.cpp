// Conversions end to end through the scripted test plug-ins: output bytes, progress, every
// failure path, and what happens to an existing output file.
#include "tests/e2e/E2eSupport.h"

#include "process/WinString.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <thread>

using namespace wm;
using namespace wm::e2e;

namespace {

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The test decoder's audio: byte k of the stream is k mod 251.
std::vector<char> Pattern(size_t n, size_t from = 0) {
    std::vector<char> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<char>((from + i) % 251);
    return v;
}

String Args(const String& in, const String& out, const String& extra = u"") {
    return u"-infile=\"" + in + u"\" -outfile=\"" + out + u"\" -convert_to=TestEnc" + extra;
}

std::string ReadText(const String& path) {
    std::vector<char> b = ReadBytes(path);
    return std::string(b.begin(), b.end());
}

} // namespace

TEST(Conversion, UserModeShowsSettingsProgressAndSummary) {
    String dir = NewWorkDir("user");
    String in = WriteScript(dir, "tone.wmt", "format 44100 2 16\nsleep 5\nblock 17640 10\n");
    RunResult r = RunWavemill(Args(in, dir + u"out.raw"));
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_EQ(ReadBytes(dir + u"out.raw"), Pattern(176400));
    std::string settings = "Encoding: TestEnc\r\nAudio Source: " + Narrow(in) +
                           "\r\nAudio Destination: " + Narrow(dir) + "out.raw\r\n\r\n" +
                           " 0%-----------25%-----------50%-----------75%-----------100%\r\n " +
                           "MSGTO: Vrx: msLen: 1000\r\n" + std::string(60, '*') + "\r\n\r\n" +
                           "Conversion completed in ";
    EXPECT_TRUE(Contains(r.out, settings)) << r.out;
    EXPECT_TRUE(Contains(r.out, " realtime encoding\r\n")) << r.out;
    EXPECT_EQ(r.err, "");
}

TEST(Conversion, FailuresKeepAnExistingOutput) {
    struct Case {
        const char* name;
        std::string script;
        const char16_t* encoderArgs;
        const char* env;
        const char* codec;
        const char* error;
    } cases[] = {
        {"encoder missing", "block 400\n", u"", "", "NoSuchCodec",
         "Error: Unable to load encoder 'NoSuchCodec'."},
        {"encoder lacks an export", "block 400\n", u"", "", "NoRemoveConfig",
         "Error: Unable to load encoder 'NoRemoveConfig'."},
        {"decoder create fails", "block 400\n", u"", "decoder", "TestEnc",
         "Error: Unable to load decoder for file type '.wmt'"},
        {"encoder create fails", "block 400\n", u"", "encoder", "TestEnc",
         "Error: Unable to load encoder 'TestEnc'."},
        {"open fails", "fail Open\nblock 400\n", u"", "", "TestEnc", "Error: Unable to open '"},
        {"block fails", "block 400 5\nfail DecodeBlock 3\n", u"", "", "TestEnc",
         "Error: Decoding '"},
        {"begin fails", "block 400\n", u" -fail=Begin", "", "TestEnc",
         "could not begin the conversion"},
        {"encoder refuses a block", "block 400 5\n", u" -fail=EncodeBlock:2", "", "TestEnc",
         "refused a block of audio"},
        {"end fails", "block 400 5\n", u" -fail=End", "", "TestEnc", "could not finish"},
        {"incomplete mid-stream", "block 400\nblock 3\nblock 400\n", u"", "", "TestEnc",
         "Error: Audio data contains incomplete samples mid-stream.  [TwWavemill::TwWavemill]"},
    };
    for (const Case& c : cases) {
        String dir = NewWorkDir("fail");
        String in = WriteScript(dir, "in.wmt", c.script);
        String out = dir + u"out.raw";
        WriteText(out, "precious");
        RunOptions o;
        if (*c.env)
            o.env = {{"WAVEMILL_TEST_FAIL_CREATE", c.env}};
        RunResult r = RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + out +
                                      u"\" -convert_to=" + Widen(c.codec) + c.encoderArgs,
                                  o);
        EXPECT_EQ(r.exitCode, 1) << c.name;
        EXPECT_TRUE(Contains(r.err, c.error)) << c.name << ": " << r.err;
        EXPECT_TRUE(Contains(r.out, "Conversion Failed.\r\n")) << c.name << ": " << r.out;
        EXPECT_EQ(ReadText(out), "precious") << c.name;
        EXPECT_FALSE(Exists(dir + u"out.raw.tmp.raw")) << c.name;
    }
}

TEST(Conversion, SuccessReplacesTheOutputThroughATemporaryName) {
    String dir = NewWorkDir("replace");
    String in = WriteScript(dir, "in.wmt", "block 4000 3\n");
    String out = dir + u"out.raw";
    String log = dir + u"enc.log";
    WriteText(out, "old");
    RunResult r = RunWavemill(Args(in, out, u" -log=\"" + log + u"\""));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBytes(out), Pattern(12000));
    EXPECT_TRUE(Contains(ReadText(log), "output=" + Narrow(out) + ".tmp.raw\n")) << ReadText(log);
    EXPECT_FALSE(Exists(out + u".tmp.raw"));

    // A new output in a folder that does not exist yet: the folders are made, no temporary.
    String nested = dir + u"a\\b\\new.raw";
    r = RunWavemill(Args(in, nested, u" -log=\"" + log + u"\""));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBytes(nested).size(), 12000u);
    EXPECT_TRUE(Contains(ReadText(log), "output=" + Narrow(nested) + "\n"));
}

TEST(Conversion, IgnoreOutputsUseNoTemporaryAndNoTags) {
    String dir = NewWorkDir("ignore");
    String in = WriteScript(dir, "in.wmt", "block 4000\n");
    String out = dir + u"out.IgNoRe";
    String log = dir + u"enc.log";
    WriteText(out, "old");
    RunResult r = RunWavemill(Args(in, out, u" -tagafter=1 -log=\"" + log + u"\""));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(Contains(ReadText(log), "output=" + Narrow(out) + "\n")) << ReadText(log);
    EXPECT_EQ(ReadBytes(out).size(), 4000u);
}

TEST(Conversion, IncompleteFinalBlockIsDroppedWithAnInformationLine) {
    String dir = NewWorkDir("tail");
    String in = WriteScript(dir, "in.wmt", "block 1000 3\nend 1001\n");
    RunResult r = RunWavemill(Args(in, dir + u"out.raw"));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(Contains(r.out, "Information: Audio data contains incomplete samples at end."))
        << r.out;
    EXPECT_EQ(ReadBytes(dir + u"out.raw"), Pattern(3000));
}

TEST(Conversion, EmptyBlocksAreWaitedOutAndOddOptionsAreHarmless) {
    String dir = NewWorkDir("empty");
    String in = WriteScript(dir, "in.wmt", "block 400\nempty 7\nblock 400\n");
    RunResult r = RunWavemill(Args(in, dir + u"out.raw",
                                   u" -processor=0 -priority=IDLE -unknownoption=\"a b\" "
                                   u"-tmpfolder=\"C:\\no\\such\\folder\""));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBytes(dir + u"out.raw"), Pattern(800));
    r = RunWavemill(Args(in, dir + u"out2.raw", u" -processor=999"));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(Contains(r.out, "Processor 999 is not available")) << r.out;
}

TEST(Conversion, QuitEventStopsTheRunAndKeepsTheOutput) {
    String dir = NewWorkDir("quit");
    String in = WriteScript(dir, "in.wmt", "sleep 20\nblock 400 500\n");
    String out = dir + u"out.raw";
    WriteText(out, "precious");
    String name = u"WmTestQuit" + Widen(std::to_string(GetCurrentProcessId()));
    HANDLE quit = CreateEventW(nullptr, TRUE, FALSE, W(name));
    RunResult r;
    std::thread run([&] { r = RunWavemill(Args(in, out, u" -evtquit=" + name)); });
    // Quit once the encoder has started writing the temporary file.
    for (int i = 0; i < 1000 && ReadBytes(out + u".tmp.raw").size() < 4000; ++i)
        Sleep(10);
    SetEvent(quit);
    run.join();
    CloseHandle(quit);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(ReadText(out), "precious");
    EXPECT_FALSE(Exists(out + u".tmp.raw"));
}

TEST(Conversion, AfterConversionErrorEventFailsAFinishedRun) {
    String dir = NewWorkDir("afterconv");
    String in = WriteScript(dir, "in.wmt", "block 400 3\n");
    String out = dir + u"out.raw";
    WriteText(out, "precious");
    String name = u"WmTestAfter" + Widen(std::to_string(GetCurrentProcessId()));
    HANDLE ev = CreateEventW(nullptr, TRUE, TRUE, W(name));
    RunResult r = RunWavemill(Args(in, out, u" -evtafterconvseterror=" + name));
    CloseHandle(ev);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(ReadText(out), "precious");
}

TEST(Conversion, FinalMoveWaitsForAnotherProcessToReleaseTheTarget) {
    String dir = NewWorkDir("held");
    String in = WriteScript(dir, "in.wmt", "block 4000 3\n");
    String out = dir + u"out.raw";
    String log = dir + u"enc.log";
    WriteText(out, "old");
    // This process holds the target open without sharing until the encoder has finished.
    HANDLE held = CreateFileW(W(out), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    RunResult r;
    std::thread run([&] { r = RunWavemill(Args(in, out, u" -log=\"" + log + u"\"")); });
    for (int i = 0; i < 1000 && !Contains(ReadText(log), "EndConversion"); ++i)
        Sleep(10);
    Sleep(300);
    CloseHandle(held);
    run.join();
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBytes(out), Pattern(12000));
}

TEST(StandardInput, WindowsPipeCarriesPcmToTheEnd) {
    String dir = NewWorkDir("stdin");
    RunOptions o;
    o.stdinData = Pattern(400001); // ends with a quarter of a frame
    RunResult r = RunWavemill(u"-infile=- -outfile=\"" + dir +
                                  u"out.raw\" -convert_to=TestEnc -sourcefreq=44100 "
                                  u"-sourcechannels=2 -sourcebits=16 -sourcelength=2267",
                              o);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(Contains(r.out, "Audio Source: Standard Input\r\n")) << r.out;
    EXPECT_TRUE(Contains(r.out, "incomplete samples at end")) << r.out;
    EXPECT_EQ(ReadBytes(dir + u"out.raw"), Pattern(400000));

    // Closed at once, and no pipe at all: both end with no audio.
    o.stdinData.clear();
    r = RunWavemill(u"-infile=- -outfile=\"" + dir +
                        u"empty.raw\" -convert_to=TestEnc "
                        u"-sourcefreq=8000 -sourcechannels=1 -sourcebits=8",
                    o);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBytes(dir + u"empty.raw").size(), 0u);
    o.stdinIsPipe = false;
    r = RunWavemill(u"-infile=- -outfile=\"" + dir +
                        u"nul.raw\" -convert_to=TestEnc "
                        u"-sourcefreq=8000 -sourcechannels=1 -sourcebits=8",
                    o);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(Exists(dir + u"nul.raw"));

    r = RunWavemill(u"-infile=- -outfile=\"" + dir + u"x.raw\" -convert_to=TestEnc", o);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(r.err, "Error: RIFF WAVE StdInput not supported yet.")) << r.err;
}
