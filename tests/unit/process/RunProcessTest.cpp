#include "process/RunProcess.h"
#include "process/EventHandle.h"
#include "tests/unit/process/PeerProcess.h"

#include <gtest/gtest.h>

using namespace wm;
using wm::test::KernelPeerPath;
using wm::test::UniqueName;

namespace {

// A peer that signals "finished" only once it is released.
struct HoldingPeer {
    String ready = UniqueName("ready"), release = UniqueName("release"),
           finished = UniqueName("finished");
    EventHandle readyEvent, releaseEvent, finishedEvent;
    HoldingPeer() {
        readyEvent.CreateOrOpen(ready);
        releaseEvent.CreateOrOpen(release);
        finishedEvent.CreateOrOpen(finished);
    }
    String Arguments() const { return u"hold " + ready + u" " + release + u" " + finished; }
};

} // namespace

TEST(RunProcess, WaitsForAChildThatEnds) {
    HoldingPeer peer;
    peer.releaseEvent.Set();
    EXPECT_TRUE(RunProcess(KernelPeerPath(), peer.Arguments(), true, 60000, false, 0, true));
    EXPECT_TRUE(peer.finishedEvent.IsSet()); // it had ended before the call returned
}

TEST(RunProcess, TimeLimitWithoutEndLeavesChildRunning) {
    HoldingPeer peer;
    EXPECT_FALSE(RunProcess(KernelPeerPath(), peer.Arguments(), true, 300, false, 0, false));
    // Still alive: it reacts to the release.
    peer.releaseEvent.Set();
    EXPECT_TRUE(peer.finishedEvent.Wait(30000));
}

TEST(RunProcess, TimeLimitWithEndTerminatesChild) {
    HoldingPeer peer;
    EXPECT_FALSE(RunProcess(KernelPeerPath(), peer.Arguments(), true, 300, false, 0, true));
    peer.releaseEvent.Set();
    // A live child would answer the release almost at once; an ended one never does.
    EXPECT_FALSE(peer.finishedEvent.Wait(3000));
}
