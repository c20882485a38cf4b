// DSP effects end to end through the scripted TestDsp effect: the order of the calls, the
// rendered file and its temporary folder, format changes, quitting while rendering, and every
// way an effect can fail.
#include "tests/e2e/E2eSupport.h"

#include "process/UniqueHandle.h"
#include "process/WinString.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <thread>

using namespace wm;
using namespace wm::e2e;

namespace {

String Effect(int n, const std::string& nameAndSettings) {
    return u" -dspeffect" + Widen(std::to_string(n)) + u"=\"" + Widen(nameAndSettings) + u"\"";
}

String Args(const String& in, const String& out, const String& extra) {
    return u"-infile=\"" + in + u"\" -outfile=\"" + out + u"\" -convert_to=TestEnc" + extra;
}

String TempFolder(const String& dir) {
    String tmp = dir + u"tmp\\";
    CreateDirectoryW(W(tmp), nullptr);
    return tmp;
}

String TempOption(const String& tmp) {
    return u" -tmpfolder=\"" + tmp.substr(0, tmp.size() - 1) + u"\"";
}

// The test decoder's byte k is k mod 251; these are its 16-bit samples' high bytes.
uint8_t HighByte(size_t sample) {
    return static_cast<uint8_t>((2 * sample + 1) % 251);
}

std::string Pass(const std::string& who, int len, int pos, bool eos, const std::string& format) {
    return who + " PassAudioBlock len=" + std::to_string(len) + " pos=" + std::to_string(pos) +
           " eos=" + (eos ? "1" : "0") + " " + format;
}

} // namespace

TEST(Dsp, LiveThenNonLiveAreRenderedInOrderAndTheLiveOneOnlyEnded) {
    String dir = NewWorkDir("dsp-order");
    String tmp = TempFolder(dir), log = dir + u"dsp.log", out = dir + u"out.raw";
    String in = WriteScript(dir, "in.wmt", "format 8000 1 16\nblock 8000 6\n");
    // A, live: 8000 Hz 16-bit -> 4000 Hz 8-bit (a slow-down, so the length in ms doubles);
    // B, non-live: every frame twice, at a format it cannot report (the length doubles again),
    // taking a second over it.
    const std::string a = "name=A live=1 bits=8 rate=4000 log=" + Narrow(log);
    const std::string b = "name=B rate=8000 delay=1000 log=" + Narrow(log);
    for (const auto& old : DebugLogs())
        std::filesystem::remove(old);
    DebugNextRun();
    RunResult r = RunWavemill(Args(in, out,
                                   Effect(1, "TestDsp=" + a) + Effect(2, "TestDsp=" + b) +
                                       TempOption(tmp) + u" -log=\"" + dir + u"enc.log\""));
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_TRUE(Contains(r.out, "\r\nDSP Effects: TestDsp, TestDsp\r\n")) << r.out;

    std::vector<std::string> lines = ReadLines(log);
    auto nonLive = std::find_if(lines.begin(), lines.end(), [](const std::string& l) {
        return l.starts_with("B PassNonLive path=");
    });
    ASSERT_NE(nonLive, lines.end());
    const std::string rendered = nonLive->substr(19, nonLive->find(' ', 19) - 19);
    EXPECT_TRUE(rendered.starts_with(Narrow(tmp) + "DSP") && rendered.ends_with(".tmp"))
        << rendered;
    *nonLive = "B PassNonLive path=<rendered>" + nonLive->substr(19 + rendered.size());
    std::vector<std::string> expected = {"B IsLive", "A IsLive", "A Begin batch=0 settings=" + a};
    for (int i = 0; i < 6; ++i)
        expected.push_back(Pass("A", 8000, 500 * i, i == 5, "rate=8000 channels=1 bits=16"));
    expected.insert(expected.end(),
                    {"B PassNonLive path=<rendered> rate=4000 channels=1 bits=8", "A End",
                     "A After output=" + Narrow(out), "B After output=" + Narrow(out)});
    EXPECT_EQ(lines, expected);

    Bytes audio(48000);
    for (size_t f = 0; f < audio.size(); ++f)
        audio[f] = static_cast<uint8_t>(HighByte(f / 2));
    EXPECT_EQ(ReadBytes(out), audio);
    EXPECT_TRUE(Contains(ReadText(dir + u"enc.log"), "SourceFormat 4000 1 8\n"));
    // The bar ends full, and the summary's time holds the second B took while rendering.
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '*'), 60) << r.out;
    EXPECT_TRUE(Contains(r.out, "\r\nConversion completed in ") && !Contains(r.out, " mili-second"))
        << r.out;
    EXPECT_TRUE(FolderEmpty(tmp));

    std::vector<std::filesystem::path> debugLogs = DebugLogs();
    ASSERT_EQ(debugLogs.size(), 1u);
    const std::string debugLog = DecodeUtf16(ReadBytes(debugLogs[0].u16string()));
    EXPECT_TRUE(Contains(debugLog, "DSP Effects:\r\n    TestDsp: " + a +
                                       "\r\n    TestDsp (non-live): " + b + "\r\n"))
        << debugLog;
    // The length follows the rendered file, not the decoder's (3 s) or A's (6 s).
    EXPECT_TRUE(Contains(debugLog, "The rendered file holds 48000 bytes, 12000 ms.")) << debugLog;
    std::filesystem::remove(debugLogs[0]);
}

TEST(Dsp, OnlyLiveEffectsRenderNothingAndPassEachBlockOn) {
    String dir = NewWorkDir("dsp-live");
    String log = dir + u"dsp.log", out = dir + u"out.raw";
    String in = WriteScript(dir, "in.wmt", "format 8000 2 16\nblock 4000 3\n");
    const std::string a = "name=A live=1 bits=8 log=" + Narrow(log);
    const std::string b = "name=B live=1 log=" + Narrow(log);
    // Any attempt to render would fail in this folder.
    RunResult r = RunWavemill(Args(in, out,
                                   Effect(1, "TestDsp=" + a) + Effect(2, "TestDsp=" + b) +
                                       u" -tmpfolder=\"" + dir + u"no\\such\""));
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;

    std::vector<std::string> expected = {"B IsLive", "A IsLive", "A Begin batch=0 settings=" + a,
                                         "B Begin batch=0 settings=" + b};
    // Each block goes through A, then B as A left it; the empty end block too.
    for (int i = 0; i < 4; ++i) {
        expected.push_back(
            Pass("A", i < 3 ? 4000 : 0, 125 * i, i == 3, "rate=8000 channels=2 bits=16"));
        expected.push_back(
            Pass("B", i < 3 ? 2000 : 0, 125 * i, i == 3, "rate=8000 channels=2 bits=8"));
    }
    expected.insert(expected.end(), {"A End", "B End", "A After output=" + Narrow(out),
                                     "B After output=" + Narrow(out)});
    EXPECT_EQ(ReadLines(log), expected);
    Bytes audio(6000);
    for (size_t i = 0; i < audio.size(); ++i)
        audio[i] = static_cast<uint8_t>(HighByte(i));
    EXPECT_EQ(ReadBytes(out), audio);
}

TEST(Dsp, QuitWhileRenderingStopsTheEffectsAndKeepsTheOutput) {
    String dir = NewWorkDir("dsp-quit");
    String tmp = TempFolder(dir), log = dir + u"dsp.log", out = dir + u"out.raw";
    String in = WriteScript(dir, "in.wmt", "format 8000 1 16\nblock 8000 4\n");
    String event = u"WmTestDspQuit" + Widen(std::to_string(GetCurrentProcessId()));
    HANDLE quit = CreateEventW(nullptr, TRUE, FALSE, W(event));
    WriteText(out, "precious");
    // A holds its call until the quit event is set; B comes after it.
    String args = Args(in, out,
                       Effect(1, "TestDsp=name=A wait=" + Narrow(event) + " log=" + Narrow(log)) +
                           Effect(2, "TestDsp=name=B log=" + Narrow(log)) + TempOption(tmp) +
                           u" -evtquit=" + event);
    RunResult r;
    std::thread run([&] { r = RunWavemill(args); });
    for (int i = 0; i < 2000 && !Contains(ReadText(log), "A PassNonLive"); ++i)
        Sleep(10);
    SetEvent(quit);
    run.join();
    CloseHandle(quit);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(ReadText(log), "A PassNonLive")) << ReadText(log);
    EXPECT_FALSE(Contains(ReadText(log), "B PassNonLive")) << ReadText(log);
    EXPECT_EQ(ReadText(out), "precious");
    EXPECT_FALSE(Exists(out + u".tmp.raw"));
    EXPECT_TRUE(FolderEmpty(tmp));
}

TEST(Dsp, RenderingKeepsTornBlocksAndReadsBackWholeFrames) {
    String dir = NewWorkDir("dsp-torn");
    String out = dir + u"out.raw";
    // 17001 bytes of 16-bit mono, torn in the middle and at the end.
    String in = WriteScript(dir, "in.wmt", "format 8000 1 16\nblock 8001\nblock 7999\nend 1001\n");
    RunResult r = RunWavemill(Args(in, out, Effect(1, "TestDsp=name=N")));
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_TRUE(Contains(r.out, "Information: Audio data contains incomplete samples at end."))
        << r.out;
    Bytes audio(17000);
    for (size_t k = 0; k < audio.size(); ++k)
        audio[k] = static_cast<uint8_t>(k % 251);
    EXPECT_EQ(ReadBytes(out), audio);
}

TEST(Dsp, TheBytesEncodedRestartOnceWhenTheEncodingBegins) {
    String dir = NewWorkDir("dsp-bytes");
    String log = dir + u"dsp.log", out = dir + u"out.raw";
    String in = WriteScript(dir, "in.wmt", "format 8000 1 16\nblock 8000 3\n");
    const String pid = Widen(std::to_string(GetCurrentProcessId()));
    const String block = u"WmTestDspBytes" + pid, event = u"WmTestDspBytesGo" + pid;
    UniqueHandle mapping(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8,
                                            W(u"NSharedData_" + block)));
    UniqueMappedView view(MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 8));
    auto* shared = static_cast<volatile int64_t*>(view.get());
    ASSERT_TRUE(shared);
    UniqueHandle go(CreateEventW(nullptr, TRUE, FALSE, W(event)));
    // The render writes 24000 bytes; A halves them over the file; B holds its first block while
    // the test reads the block. Only the encoding (12000 bytes) starts the count again.
    String args =
        Args(in, out,
             Effect(1, "TestDsp=name=N") + Effect(2, "TestDsp=name=A live=1 bits=8") +
                 Effect(3, "TestDsp=name=B live=1 wait=" + Narrow(event) + " log=" + Narrow(log)) +
                 u" -shrbytesencoded=" + block);
    RunResult r;
    std::thread run([&] { r = RunWavemill(args); });
    for (int i = 0; i < 2000 && !Contains(ReadText(log), "B PassAudioBlock"); ++i)
        Sleep(10);
    const int64_t whileRendering = *shared;
    SetEvent(go.get());
    run.join();
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_EQ(whileRendering, 24000);
    EXPECT_EQ(*shared, 12000);
}

TEST(Dsp, EveryFailureFailsTheRunClearlyAndLeavesNothingBehind) {
    const std::string live = "TestDsp=live=1 ", nonLive = "TestDsp=name=N";
    struct Case {
        std::vector<std::string> effects;
        const char* error;
        const char* failCreate = "";
        bool tmpMissing = false;
        const char* script = "format 8000 1 16\nblock 6000 4\n";
        int marks = -1; // the progress a failed run shows, when the case checks it
    };
    const Case cases[] = {
        {{"NoSuchDsp=x"}, "Error: Unable to load DSP Effect 'NoSuchDsp'."},
        {{"NoAfterConversion=live=1"}, "Error: Unable to load DSP Effect 'NoAfterConversion'."},
        {{live}, "Error: Unable to load DSP Effect 'TestDsp'.", "dsp"},
        {{live + "fail=Begin"}, "failed in DSP_BeginConversion"},
        {{live + "fail=PassAudioBlock:2"}, "failed in DSP_PassAudioBlock"},
        {{live + "fail=End"}, "failed in DSP_EndConversion"},
        {{live + "torn=1"}, "returned audio that is not a whole number of sample frames"},
        // The bar has moved through the decoding's share (of three passes) when N fails.
        {.effects = {nonLive + " fail=PassNonLive"},
         .error = "failed in DSP_PassNonLive",
         .marks = 20},
        // Live effects applied while rendering.
        {{live + "fail=Begin", nonLive}, "failed in DSP_BeginConversion"},
        {{live + "fail=PassAudioBlock:2", nonLive}, "failed in DSP_PassAudioBlock"},
        {{live + "torn=1", nonLive}, "returned audio that is not a whole number of sample frames"},
        {{nonLive + " remove=1", live}, "Error: Reading Temporary Rendered DSP file."},
        {{nonLive, live + "unreadable=1"}, "Error: Writing Temporary Rendered DSP file "},
        {{nonLive, live + "hold=1"},
         "Error: Copying Temporary Rendered Live-DSP file, over Temp Non-Live DSP file "},
        {{nonLive}, "Error writing to temporary file ", "", true},
        {{nonLive}, "Error: Decoding '", "", false, "block 6000 4\nfail DecodeBlock 2\n"},
    };
    String dir = NewWorkDir("dsp-fail");
    String tmp = TempFolder(dir), out = dir + u"out.raw";
    String in;
    for (const Case& c : cases) {
        in = WriteScript(dir, "in.wmt", c.script);
        String effects;
        for (size_t i = 0; i < c.effects.size(); ++i)
            effects += Effect(static_cast<int>(i + 1), c.effects[i]);
        WriteText(out, "precious");
        RunOptions o;
        o.env = {{"WAVEMILL_TEST_FAIL_CREATE", c.failCreate}};
        RunResult r = RunWavemill(
            Args(in, out, effects + TempOption(c.tmpMissing ? dir + u"gone\\" : tmp)), o);
        EXPECT_EQ(r.exitCode, 1) << c.error;
        EXPECT_TRUE(Contains(r.err, c.error)) << c.error << ": " << r.err;
        EXPECT_TRUE(Contains(r.out, "Conversion Failed.\r\n")) << c.error << ": " << r.out;
        if (c.marks >= 0) {
            EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '*'), c.marks) << r.out;
        }
        EXPECT_EQ(ReadText(out), "precious") << c.error;
        EXPECT_FALSE(Exists(out + u".tmp.raw")) << c.error;
        EXPECT_TRUE(FolderEmpty(tmp)) << c.error;
        // A leftover is blamed on its own case only.
        std::filesystem::remove_all(std::filesystem::path(tmp));
        TempFolder(dir);
    }

    // After the conversion the new output is already in place; the run still fails.
    in = WriteScript(dir, "in.wmt", Case{}.script);
    RunResult r = RunWavemill(Args(in, out, Effect(1, live + "fail=After") + TempOption(tmp)));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(r.err, "failed in DSP_AfterConversion")) << r.err;
    EXPECT_EQ(ReadBytes(out).size(), 24000u);
}

TEST(Dsp, WithLiveEffectsTheEncoderBeginsOnItsFirstBlockOrAtTheEnd) {
    String dir = NewWorkDir("dsp-begin");
    String log = dir + u"run.log";
    RunOptions o;
    o.env = {{"WAVEMILL_TEST_DECODER_LOG", Narrow(log)}, {"WAVEMILL_TEST_CLOSE_LOG", Narrow(log)}};
    const String live = Effect(1, "TestDsp=name=A live=1 log=" + Narrow(log));
    const String encLog = u" -log=\"" + log + u"\"";
    // A refused begin (a misspelt option, say) ends the run there: nothing is closed, ended or
    // relayed afterwards.
    String in = WriteScript(dir, "in.wmt", "format 8000 1 16\nblock 1600 2\n");
    RunResult r = RunWavemill(Args(in, dir + u"refused.raw", live + encLog + u" -fail=Begin"), o);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(r.err, "could not begin")) << r.err;
    std::string text = ReadText(log);
    EXPECT_TRUE(Contains(text, "A Begin")) << text;
    for (const char* skipped : {"Close", "A End", "A After", "EndConversion", "stage=EndEncoding",
                                "stage=AfterConversion"})
        EXPECT_FALSE(Contains(text, skipped)) << skipped << " in\n" << text;

    // The only block is torn: it is dropped, and the encoder begins and ends in the source's
    // format all the same.
    DeleteFileW(W(log));
    in = WriteScript(dir, "torn.wmt", "format 8000 2 16\nend 3\n");
    r = RunWavemill(Args(in, dir + u"torn.raw", live + encLog), o);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(Contains(r.out, "incomplete samples at end")) << r.out;
    text = ReadText(log);
    for (const char* done : {"SourceFormat 8000 2 16", "EndConversion runError=0", "A End"})
        EXPECT_TRUE(Contains(text, done)) << done << " not in\n" << text;
    EXPECT_TRUE(Exists(dir + u"torn.raw") && ReadBytes(dir + u"torn.raw").empty());
}

TEST(Dsp, AnEffectWhoseOwnInstanceFailsIsDroppedAndTheOthersGetTheBatch) {
    String dir = NewWorkDir("dsp-drop");
    String log = dir + u"dsp log.txt", out = dir + u"out.raw";
    String in = WriteScript(dir, "in.wmt", "block 4000\n");
    // "{qt}" puts the quotes around a log path with a space.
    const std::string quotedLog = "log={qt}" + Narrow(log) + "{qt}";
    RunResult r =
        RunWavemill(Args(in, out,
                         Effect(1, "TestDsp=name=A live=1 fail=Create " + quotedLog) +
                             Effect(2, "TestDsp=name=B live=1 " + quotedLog) + u" -batchid=7"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::vector<std::string> lines = ReadLines(log);
    ASSERT_EQ(lines.size(), 7u) << ReadText(log);
    EXPECT_EQ(lines[1], "A IsLive") << "A was asked on the scratch load only";
    EXPECT_EQ(lines[2], "B Begin batch=7 settings=name=B live=1 log=\"" + Narrow(log) + "\"");
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& l) { return l.starts_with("A "); }),
              1);
}
