#include "process/RunProcess.h"
#include "process/ChildProcess.h"
#include "process/EventHandle.h"
#include "tests/unit/process/PeerProcess.h"

#include <gtest/gtest.h>

using namespace wm;
using wm::test::KernelPeerPath;
using wm::test::UniqueName;

// The peer signals "finished" only once it is released.
TEST(RunProcess, TimeLimitWithEndTerminatesChild) {
    String ready = UniqueName(u"WmTest_ready_"), release = UniqueName(u"WmTest_release_"),
           finished = UniqueName(u"WmTest_finished_");
    EventHandle readyEvent, releaseEvent, finishedEvent;
    ASSERT_TRUE(readyEvent.CreateOrOpen(ready) && releaseEvent.CreateOrOpen(release) &&
                finishedEvent.CreateOrOpen(finished));
    String arguments = u"hold " + ready + u" " + release + u" " + finished;
    EXPECT_FALSE(RunProcess(KernelPeerPath(), arguments, true, 300, false, 0, true));
    EXPECT_TRUE(readyEvent.IsSet()); // it did run
    releaseEvent.Set();
    // A live child would answer the release almost at once; an ended one never does.
    EXPECT_FALSE(finishedEvent.Wait(3000));
}

namespace {

// Reads until the pipe holds `size` bytes or has ended.
std::string ReadUntil(ChildProcess& child, bool errors, size_t size) {
    std::string text;
    for (int i = 0; i < 300 && text.size() < size; ++i) {
        if (!(errors ? child.ReadErrors(text) : child.ReadOutput(text)))
            break;
        ::Sleep(10);
    }
    return text;
}

bool PipeEnds(ChildProcess& child) {
    std::string ignored;
    for (int i = 0; i < 300; ++i) {
        if (!child.ReadOutput(ignored))
            return true;
        ::Sleep(10);
    }
    return false;
}

} // namespace

// Two children at once, as a parent runs them: each pipe carries only its own child's text and
// ends with that child, even while the other still runs (no child holds another's pipe end).
TEST(ChildProcess, PipesCarryEachChildsOutputAndEndWithIt) {
    const String releaseA = UniqueName(u"WmTest_speakA_"), releaseB = UniqueName(u"WmTest_speakB_");
    EventHandle a, b;
    ASSERT_TRUE(a.CreateOrOpen(releaseA) && b.CreateOrOpen(releaseB));
    ChildProcess first, second;
    ASSERT_TRUE(first.Start(KernelPeerPath(), u"speak " + releaseA, CREATE_NO_WINDOW));
    ASSERT_TRUE(second.Start(KernelPeerPath(), u"speak " + releaseB, CREATE_NO_WINDOW));
    EXPECT_EQ(ReadUntil(first, false, 6), "to out");
    EXPECT_EQ(ReadUntil(first, true, 6), "to err");
    EXPECT_EQ(first.ExitCode(), STILL_ACTIVE);
    EXPECT_NE(first.Id(), second.Id());

    a.Set();
    EXPECT_TRUE(PipeEnds(first));
    EXPECT_TRUE(first.HasEnded());
    EXPECT_EQ(first.ExitCode(), 7u);
    EXPECT_FALSE(second.HasEnded());
    EXPECT_EQ(ReadUntil(second, false, 6), "to out");

    second.Terminate(9);
    EXPECT_TRUE(second.HasEnded());
    EXPECT_EQ(second.ExitCode(), 9u);
}

// A parent reads its converters' pipes between other work: a child that says 32 KB (a fast
// conversion's lines and more) before its parent reads must still run to its end.
TEST(ChildProcess, ChildEndsBeforeItsParentReads) {
    ChildProcess child;
    ASSERT_TRUE(child.Start(KernelPeerPath(), u"chatter 32768", CREATE_NO_WINDOW));
    // A guard against a child held forever by a full pipe, not a measure of time.
    for (int i = 0; i < 3000 && !child.HasEnded(); ++i)
        ::Sleep(10);
    ASSERT_TRUE(child.HasEnded());
    EXPECT_EQ(child.ExitCode(), 8u);
    EXPECT_EQ(ReadUntil(child, false, 32768).size(), 32768u);
}
