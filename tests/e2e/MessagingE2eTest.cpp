// Plug-in messaging end to end: the scripted decoder and encoder talk through the host at the
// four stages, and the encoder reports the files it wrote.
#include "tests/e2e/E2eSupport.h"

#include "process/WinString.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <sstream>

using namespace wm;
using namespace wm::e2e;

namespace {

std::vector<std::string> Starting(const std::vector<std::string>& lines, const std::string& with) {
    std::vector<std::string> found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                 [&](const std::string& l) { return l.starts_with(with); });
    return found;
}

// The log lines of one plug-in's turn: its requests' results, then the "Communicate" it
// answers with 0, numbered one past the last.
std::vector<std::string> Turn(const std::string& who, const std::string& stage, int noError,
                              const std::vector<std::string>& results) {
    std::vector<std::string> lines;
    for (size_t i = 0; i <= results.size(); ++i) {
        lines.push_back(who + " Communicate stage=" + stage + " exchange=" + std::to_string(i) +
                        " noerror=" + std::to_string(noError));
        if (i < results.size())
            lines.push_back(who + " CommunicateResult exchange=" + std::to_string(i) +
                            " result=" + results[i]);
    }
    return lines;
}

void Append(std::vector<std::string>& to, const std::vector<std::string>& more) {
    to.insert(to.end(), more.begin(), more.end());
}

} // namespace

TEST(Messaging, RequestsAreRelayedAtEveryStageByAddresseeAndVerb) {
    String dir = NewWorkDir("talk");
    String log = dir + u"talk.log", out = dir + u"out.raw";
    String in = WriteScript(dir, "in.wmt", "format 8000 1 16\nblock 1600 2\n");
    RunOptions o;
    o.env = {{"WAVEMILL_TEST_DECODER_LOG", Narrow(log)},
             {"WAVEMILL_TEST_DECODER_TALK", "BeforeOpen Encoder get Extension;"
                                            "BeforeOpen WaVeMiLl get Extension;"
                                            "BeforeEncoding Decoder get Decodes;"
                                            "BeforeEncoding Encoder fetch Extension;"
                                            "EndEncoding Nobody set BatchID;"
                                            "EndEncoding encoder SET Priority;"
                                            "AfterConversion Encoder get -;"
                                            "AfterConversion Encoder get Extension novalue"}};
    // The encoder fails at its end, which the last stage's no-error flag shows; the file names
    // it reports reach no one outside parent mode.
    RunResult r = RunWavemill(
        u"-infile=\"" + in + u"\" -outfile=\"" + out +
            u"\" -convert_to=TestEnc -fail=End -filenames=\"C:\\one.x\" -log=\"" + log +
            u"\" -ask=\"BeforeOpen Decoder get Decodes;BeforeEncoding wavemill set Priority;"
            u"EndEncoding ENCODER get Extension;EndEncoding Decoder - Decodes;"
            u"AfterConversion - get Extension;AfterConversion Decoder Set BatchID\"",
        o);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Contains(r.err, "could not finish")) << r.err;
    EXPECT_FALSE(Contains(r.out, "FileName")) << r.out;

    std::vector<std::string> expected;
    Append(expected, Turn("dec", "BeforeOpen", 1, {"1 got=.raw", "0"}));
    Append(expected, Turn("enc", "BeforeOpen", 1, {"1 got=.wmt"}));
    Append(expected, {"BeginConversion output=" + Narrow(out), "SourceFormat 8000 1 16"});
    Append(expected, Turn("dec", "BeforeEncoding", 1, {"1 got=.wmt", "0"}));
    Append(expected, Turn("enc", "BeforeEncoding", 1, {"0"}));
    Append(expected, Turn("dec", "EndEncoding", 1, {"0", "1"}));
    Append(expected, Turn("enc", "EndEncoding", 1, {"1 got=.raw", "0"}));
    expected.push_back("EndConversion runError=0");
    Append(expected, Turn("dec", "AfterConversion", 0, {"0", "0"}));
    Append(expected, Turn("enc", "AfterConversion", 0, {"0", "1"}));
    EXPECT_EQ(ReadLines(log), expected);
}

TEST(Messaging, WithStandardInputTheDecoderTakesNoPart) {
    String dir = NewWorkDir("talk-stdin");
    String log = dir + u"talk.log";
    RunOptions o;
    for (int i = 0; i < 3200; ++i)
        o.stdinData.push_back(static_cast<char>(i % 251));
    // A non-live effect renders standard input too: each 16-bit frame twice.
    RunResult r = RunWavemill(u"-infile=- -outfile=\"" + dir +
                                  u"out.raw\" -convert_to=TestEnc -sourcefreq=8000 "
                                  u"-sourcechannels=1 -sourcebits=16 -log=\"" +
                                  log +
                                  u"\" -ask=\"BeforeOpen Decoder get Decodes;"
                                  u"BeforeOpen Encoder get Extension\" "
                                  u"-dspeffect1=\"TestDsp=rate=16000\"",
                              o);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    Bytes doubled;
    for (size_t frame = 0; frame < 1600; ++frame)
        for (int copy = 0; copy < 2; ++copy)
            doubled.insert(doubled.end(), {o.stdinData[2 * frame], o.stdinData[2 * frame + 1]});
    EXPECT_EQ(ReadBytes(dir + u"out.raw"), doubled);
    EXPECT_EQ(Starting(ReadLines(log), "enc CommunicateResult"),
              (std::vector<std::string>{"enc CommunicateResult exchange=0 result=0",
                                        "enc CommunicateResult exchange=1 result=1 got=.raw"}));
}

TEST(Messaging, ParentHearsOfRenderingAndOfEveryReportedFile) {
    String dir = NewWorkDir("talk-parent");
    String log = dir + u"dsp.log", tmp = dir + u"tmp";
    CreateDirectoryW(W(tmp), nullptr);
    String in = WriteScript(dir, "in.wmt", "format 8000 1 16\nblock 1600 2\n");
    String cmd = dir + u"job.twcmd";
    // Index 3 is missing, so the fourth name is never looked for.
    WriteUtf16(cmd, u"\xFEFF-infile=\"" + in + u"\" -outfile=\"" + dir +
                        u"out.raw\" -convert_to=TestEnc -dspeffect1=\"TestDsp=name=A live=1 log=" +
                        log + u"\" -dspeffect2=\"TestDsp=name=B log=" + log + u"\" -tmpfolder=\"" +
                        tmp + u"\" -filenames=\"C:\\r\\one.x;C:\\r\\two.x;;C:\\r\\four.x\"");
    RunResult r = RunWavemill(u"-twcmd=\"" + cmd + u"\"");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::vector<std::string> lines;
    std::istringstream stream(r.out);
    // The parent's percent is the encoding's alone: here one read-back block from 0 ms, so
    // no "PCDone" line at all (none while rendering).
    for (std::string l; std::getline(stream, l);)
        if (!l.starts_with("MSGTO: Vrx: msLen: "))
            lines.push_back(l.substr(0, l.size() - 1));
    EXPECT_EQ(lines,
              (std::vector<std::string>{
                  "MSGTO: Vrx: Action: Rendering For DSPs...",
                  "MSGTO: Vrx: Action: Running DSP Effect TestDsp",
                  "MSGTO: Vrx: Action: Running DSP Effect TestDsp",
                  "MSGTO: Vrx: Action: ", "MSGTO: Vrx: Action: Encoding 'out.raw'",
                  "MSGTO: Vrx: FileName: C:\\r\\one.x", "MSGTO: Vrx: FileName: C:\\r\\two.x"}))
        << r.out;
    // Every effect, live or not, for every name in turn.
    std::vector<std::string> after;
    for (const std::string& l : ReadLines(log))
        if (Contains(l, " After "))
            after.push_back(l);
    EXPECT_EQ(after, (std::vector<std::string>{
                         "A After output=C:\\r\\one.x", "A After output=C:\\r\\two.x",
                         "B After output=C:\\r\\one.x", "B After output=C:\\r\\two.x"}));
}

TEST(Messaging, AnEncoderTakingTheSourceOverEndsTheRunAtItsBegin) {
    String dir = NewWorkDir("talk-raw");
    String log = dir + u"enc.log", out = dir + u"out.raw";
    const String args = u"\" -outfile=\"" + out + u"\" -convert_to=TestEnc -raw=1 -log=\"" + log +
                        u"\" -ask=\"BeforeOpen Decoder get Decodes\"";
    String in = WriteScript(dir, "in.wmt", "block 1600 2\n");
    RunResult r = RunWavemill(u"-infile=\"" + in + args);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    // No exchanges, no blocks, no end: the encoder's begin was the whole conversion.
    EXPECT_EQ(ReadLines(log), (std::vector<std::string>{"BeginConversion output=" + Narrow(out),
                                                        "SourceFormat 44100 2 16"}));
    EXPECT_TRUE(Exists(out) && ReadBytes(out).empty());

    // The decoder only describes the source, yet a failed close still fails the run.
    in = WriteScript(dir, "in.wmt", "block 1600 2\nfail Close\n");
    r = RunWavemill(u"-infile=\"" + in + args);
    EXPECT_EQ(r.exitCode, 1) << r.out;

    // A source that does not open ends the run there, taken over or not.
    DeleteFileW(W(log));
    DeleteFileW(W(out));
    in = WriteScript(dir, "in.wmt", "fail Open\nblock 1600 2\n");
    r = RunWavemill(u"-infile=\"" + in + args);
    EXPECT_EQ(r.exitCode, 1) << r.out;
    // Once: the normal path does not try again.
    const size_t first = r.err.find("Error: Unable to open '");
    EXPECT_TRUE(first != std::string::npos &&
                r.err.find("Error: Unable to open '", first + 1) == std::string::npos)
        << r.err;
    EXPECT_FALSE(Exists(log) || Exists(out));
}
