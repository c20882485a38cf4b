#include "process/RunProcess.h"
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
