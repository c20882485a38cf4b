// The batch's supervision of one converter, verdict by verdict, with a scripted converter in
// place of a process: what it shows at each look, and what the supervisor did to it.
#include "batch/Supervisor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

using namespace wm;

namespace {

class ScriptedConverter : public ConverterPort {
  public:
    StartResult startResult = StartResult::kStarted;
    // What the converter shows at a look, given how many looks came before.
    std::function<ConverterSight(int look)> script = [](int) { return ConverterSight{}; };
    int looks = 0, quits = 0, kills = 0, launches = 0;

    StartResult Launch(String& problem) override {
        ++launches;
        if (startResult == StartResult::kFailed)
            problem = u"cannot start 'Wavemill.exe' (Win:2)";
        return startResult;
    }
    void AskToQuit() override { ++quits; }
    void EndNow() override { ++kills; }
    ConverterSight Look() override { return script(looks++); }
};

constexpr uint64_t kStepMs = 1000;

// Polls once a second from t = 0 until the supervisor lets go (or 10 minutes pass); the time of
// the last poll.
uint64_t RunToEnd(Supervisor& s, const std::function<void(uint64_t)>& at = {}) {
    uint64_t t = 0;
    for (; t < 600 * kStepMs; t += kStepMs) {
        if (at)
            at(t);
        if (!s.Poll(t))
            break;
    }
    return t;
}

// A converter that beats and moves for `moving` looks, then shows `last` (ended or not).
std::function<ConverterSight(int)> Live(int moving, ConverterSight last) {
    return [moving, last](int look) {
        if (look >= moving)
            return last;
        ConverterSight s;
        s.heartbeat = true;
        s.percent = look;
        s.bytesEncoded = look * 100;
        return s;
    };
}

ConverterSight Ended(uint32_t code, String error = {}, bool output = true) {
    ConverterSight s;
    s.ended = true;
    s.exitCode = code;
    s.firstError = std::move(error);
    s.outputWritten = output;
    return s;
}

SupervisionPolicy Policy() {
    SupervisionPolicy p;
    p.hangMs = 30 * kStepMs;
    p.dumpGraceMs = 60 * kStepMs;
    return p;
}

} // namespace

TEST(Supervisor, EndsThatSpeakForThemselves) {
    struct Case {
        ConverterSight end;
        Verdict verdict;
        const char16_t* reason;
    } cases[] = {
        {Ended(0), Verdict::kDone, u""},
        {Ended(1, u"Error: Unable to open 'a.wav' for decoding."), Verdict::kFailed,
         u"Error: Unable to open 'a.wav' for decoding."},
        {Ended(1), Verdict::kFailedWithoutLine, u"exit status 1 and no error line"},
        {Ended(0, {}, false), Verdict::kFailedWithoutLine,
         u"the converter ended without an output (status 0, no crash dump)"},
    };
    for (const Case& c : cases) {
        ScriptedConverter port;
        port.script = Live(5, c.end);
        Supervisor s(port, Policy());
        ASSERT_TRUE(s.Start(0));
        EXPECT_EQ(RunToEnd(s), 5 * kStepMs);
        EXPECT_EQ(s.Outcome(), c.verdict) << Narrow(c.reason);
        EXPECT_EQ(s.Reason(), c.reason);
        EXPECT_EQ(port.kills + port.quits, 0);
    }
}

// A converter that ends failed before its first heartbeat, without a line, never ran: the system
// lost the start (Wine refusing to map the new process). It is started again once, and said.
TEST(Supervisor, AStartThatNeverRanIsStartedAgainOnce) {
    ScriptedConverter lostTwice;
    lostTwice.script = [](int) { return Ended(1); };
    Supervisor s(lostTwice, Policy());
    ASSERT_TRUE(s.Start(0));
    EXPECT_EQ(RunToEnd(s), kStepMs);
    EXPECT_EQ(lostTwice.launches, 2);
    EXPECT_TRUE(s.StartedAgain());
    EXPECT_EQ(s.Outcome(), Verdict::kLostStart);
    EXPECT_EQ(s.Reason(), u"exit status 1 before the converter ran (no heartbeat, no line), twice: "
                          u"the system lost the start");

    // Wine's own line, when its error messages are let through, is no line of the converter's.
    ScriptedConverter lostOnce;
    lostOnce.script = [](int look) {
        ConverterSight unmapped = Ended(1, u"\u3030\u3432 (Wine's line read as UTF-16)");
        unmapped.wineCouldNotMap = true;
        return look == 0 ? unmapped : Live(3, Ended(0))(look - 1);
    };
    Supervisor again(lostOnce, Policy());
    ASSERT_TRUE(again.Start(0));
    RunToEnd(again);
    EXPECT_EQ(lostOnce.launches, 2);
    EXPECT_TRUE(again.StartedAgain());
    EXPECT_EQ(again.Outcome(), Verdict::kDone);

    // One that beat once ran: its silent failure is ours, never started again.
    ScriptedConverter ran;
    ran.script = Live(1, Ended(1));
    Supervisor failed(ran, Policy());
    ASSERT_TRUE(failed.Start(0));
    RunToEnd(failed);
    EXPECT_EQ(ran.launches, 1);
    EXPECT_EQ(failed.Outcome(), Verdict::kFailedWithoutLine);
}

TEST(Supervisor, ACrashOutranksItsStatusAndItsDumpBuysTime) {
    ScriptedConverter port;
    // Stands still from look 3; the dump appears at look 20, the process ends at look 70 (the
    // dump takes Wine long): 30 s of standing is no hang while the dump is being written.
    port.script = [](int look) {
        ConverterSight s = Live(3, {})(look);
        if (look >= 20)
            s.crashDump = u"C:\\crashes\\crash-7.dmp";
        if (look >= 70) {
            s.ended = true;
            s.exitCode = 1;
            s.firstError = u"Error: The plug-in 'Echo.dll' crashed in DSP_PassAudioBlock: access "
                           u"violation. Crash dump: C:\\crashes\\crash-7.dmp";
        }
        return s;
    };
    Supervisor s(port, Policy());
    ASSERT_TRUE(s.Start(0));
    EXPECT_EQ(RunToEnd(s), 70 * kStepMs);
    EXPECT_EQ(s.Outcome(), Verdict::kCrashed);
    EXPECT_EQ(s.Reason(), u"crashed (C:\\crashes\\crash-7.dmp): The plug-in 'Echo.dll' crashed in "
                          u"DSP_PassAudioBlock: access violation.");
    EXPECT_EQ(port.kills, 0);

    // A dump that never ends its process: the grace runs out and it is ended as hung.
    port.script = [](int look) {
        ConverterSight s = Live(3, {})(look);
        if (look >= 20)
            s.crashDump = u"C:\\crashes\\crash-8.dmp";
        return s;
    };
    port.looks = 0;
    Supervisor stuck(port, Policy());
    ASSERT_TRUE(stuck.Start(0));
    EXPECT_EQ(RunToEnd(stuck), 80 * kStepMs);
    EXPECT_EQ(stuck.Outcome(), Verdict::kHungHeartbeat);
    EXPECT_EQ(port.kills, 1);
}

TEST(Supervisor, HangsBySilentHeartbeatOrStandingProgress) {
    ScriptedConverter silent;
    silent.script = Live(10, {}); // neither beats nor moves from look 10
    Supervisor s(silent, Policy());
    ASSERT_TRUE(s.Start(0));
    EXPECT_EQ(RunToEnd(s), 40 * kStepMs);
    EXPECT_EQ(s.Outcome(), Verdict::kHungHeartbeat);
    EXPECT_EQ(s.Reason(), u"hung: no heartbeat for 30 s, ended");
    EXPECT_EQ(silent.kills, 1);

    ScriptedConverter standing; // beats on, stuck beside its heartbeat thread
    standing.script = [](int look) {
        ConverterSight s;
        s.heartbeat = true;
        s.percent = std::min(look, 9);
        s.bytesEncoded = s.percent * 100;
        return s;
    };
    Supervisor t(standing, Policy());
    ASSERT_TRUE(t.Start(0));
    EXPECT_EQ(RunToEnd(t), 40 * kStepMs);
    EXPECT_EQ(t.Outcome(), Verdict::kHungProgress);
    EXPECT_EQ(t.Reason(), u"hung: no progress for 30 s, ended");
    EXPECT_EQ(standing.kills, 1);
}

TEST(Supervisor, StartsThatFailAndStopsThatTheUserAsked) {
    for (auto [result, verdict] :
         {std::pair{ConverterPort::StartResult::kRefused, Verdict::kRefusedStart},
          std::pair{ConverterPort::StartResult::kFailed, Verdict::kStartFailed}}) {
        ScriptedConverter port;
        port.startResult = result;
        Supervisor s(port, Policy());
        EXPECT_FALSE(s.Start(0));
        EXPECT_FALSE(s.Poll(0));
        EXPECT_EQ(port.looks, 0);
        EXPECT_EQ(s.Outcome(), verdict);
        EXPECT_FALSE(s.Reason().empty());
    }

    // Ctrl-C: the quit event; the converter's own failure line does not replace the stop.
    ScriptedConverter port;
    port.script = Live(8, Ended(1, u"Error: The conversion was stopped."));
    Supervisor stopped(port, Policy());
    ASSERT_TRUE(stopped.Start(0));
    RunToEnd(stopped, [&](uint64_t t) {
        if (t == 3 * kStepMs)
            stopped.Stop();
    });
    EXPECT_EQ(port.quits, 1);
    EXPECT_EQ(stopped.Outcome(), Verdict::kStopped);
    EXPECT_EQ(stopped.Reason(), u"stopped by Ctrl-C");

    // A second Ctrl-C ends it at once.
    ScriptedConverter second;
    second.script = Live(6, Ended(1));
    Supervisor killed(second, Policy());
    ASSERT_TRUE(killed.Start(0));
    RunToEnd(killed, [&](uint64_t t) {
        if (t == 2 * kStepMs) {
            killed.Stop();
            killed.Kill();
        }
    });
    EXPECT_EQ(second.kills, 1);
    EXPECT_EQ(killed.Outcome(), Verdict::kKilled);
}
