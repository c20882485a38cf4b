// Plug-in messaging and the raw take-over end to end, as sdk/README.md describes them to plug-in
// authors: the four stages in order, a request relayed to the decoder, the no-error flag after a
// failure, a take-over that skips blocks, stages and the encoder's end, and the output files an
// encoder reports.
#include "tests/e2e/E2eSupport.h"

#include <gtest/gtest.h>

using namespace wm;
using namespace wm::e2e;

namespace {

String Args(const String& in, const String& out, const String& extra) {
    return u"-infile=\"" + in + u"\" -outfile=\"" + out + u"\" -convert_to=TestEnc" + extra;
}

std::string Stage(const std::string& name, const std::string& ok) {
    return "stage=" + name + " n=0 ok=" + ok + "\nresult=1 answer=.wmt\nstage=" + name +
           " n=1 ok=" + ok + "\n";
}

} // namespace

TEST(Messaging, FourStagesInOrderWithRequestsRelayedToTheDecoder) {
    String dir = NewWorkDir("talk");
    String in = WriteScript(dir, "in.wmt", "block 4000 3\n");
    String log = dir + u"talk.log";
    RunResult r = RunWavemill(Args(in, dir + u"out.raw", u" -talk=\"" + log + u"\""));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadText(log), Stage("BeforeOpen", "1") + Stage("BeforeEncoding", "1") +
                                 Stage("EndEncoding", "1") + Stage("AfterConversion", "1"));

    // After a refused block the later stages carry the no-error flag 0.
    log = dir + u"failed.log";
    r = RunWavemill(Args(in, dir + u"out2.raw", u" -fail=EncodeBlock:2 -talk=\"" + log + u"\""));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(ReadText(log), Stage("BeforeOpen", "1") + Stage("BeforeEncoding", "1") +
                                 Stage("EndEncoding", "0") + Stage("AfterConversion", "0"));
}

TEST(Messaging, RawTakeOverSkipsBlocksStagesAndTheEncodersEnd) {
    String dir = NewWorkDir("raw");
    String in = WriteScript(dir, "in.wmt", "block 4000 3\n");
    String talk = dir + u"talk.log", enc = dir + u"enc.log", close = dir + u"close.log";
    RunOptions o;
    o.env = {{"WAVEMILL_TEST_CLOSE_LOG", Narrow(close)}};
    RunResult r = RunWavemill(
        Args(in, dir + u"out.raw", u" -raw=1 -talk=\"" + talk + u"\" -log=\"" + enc + u"\""), o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadText(enc), "BeginConversion output=" + Narrow(dir) + "out.raw\n");
    EXPECT_EQ(ReadText(close), "Close runError=0\n"); // the decoder only described the source
    EXPECT_FALSE(Exists(talk));
    EXPECT_TRUE(ReadBytes(dir + u"out.raw").empty());
}

TEST(Messaging, FilesTheEncoderReportsReachTheParent) {
    String dir = NewWorkDir("report");
    String in = WriteScript(dir, "in.wmt", "block 4000 3\n");
    String cmd = dir + u"job.twcmd";
    WriteUtf16(cmd, u"\xFEFF-infile=\"" + in + u"\" -outfile=\"" + dir +
                        u"out.raw\" -convert_to=TestEnc -report=\"one.raw;two.raw\"");
    RunResult r = RunWavemill(u"-twcmd=\"" + cmd + u"\"");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(
        Contains(r.out, "MSGTO: Vrx: FileName: one.raw\r\nMSGTO: Vrx: FileName: two.raw\r\n"))
        << r.out;
}
