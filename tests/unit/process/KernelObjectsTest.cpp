#include "process/EventHandle.h"
#include "process/SharedMemoryBlock.h"
#include "tests/unit/process/PeerProcess.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace wm;
using wm::test::PeerProcess;
using wm::test::UniqueName;

TEST(EventHandle, NamedEventIsSharedManualResetAndToggles) {
    String name = UniqueName("evt");
    EventHandle first, second;
    ASSERT_TRUE(first.CreateOrOpen(name));
    EXPECT_FALSE(first.AlreadyExisted());
    ASSERT_TRUE(second.CreateOrOpen(name));
    EXPECT_TRUE(second.AlreadyExisted());

    first.Set();
    EXPECT_TRUE(second.IsSet());
    EXPECT_TRUE(second.IsSet()); // manual reset: testing does not clear it
    EXPECT_FALSE(second.Toggle());
    EXPECT_TRUE(first.Toggle());
}

// The converter's side of the protocol: another process opens the block and the events by
// name and updates the value under the guard while this one holds it.
TEST(SharedMemoryBlock, OtherProcessWritesUnderTheGuard) {
    String base = UniqueName("xblk"), ready = UniqueName("ready"), done = UniqueName("done");
    EventHandle readyEvent, doneEvent;
    ASSERT_TRUE(readyEvent.CreateOrOpen(ready));
    ASSERT_TRUE(doneEvent.CreateOrOpen(done));
    SharedMemoryBlock block;
    ASSERT_TRUE(block.Open(base, 8));
    int64_t value = 41;
    ASSERT_TRUE(block.Write(&value));

    block.Lock();
    PeerProcess peer;
    ASSERT_TRUE(peer.Start(u"block " + base + u" " + ready + u" " + done));
    ASSERT_TRUE(readyEvent.Wait(20000));
    // The peer is now waiting for the guard this process holds.
    EXPECT_FALSE(doneEvent.Wait(300));
    ASSERT_TRUE(block.Read(&value)); // held already: must not wait for itself
    EXPECT_EQ(value, 41);
    block.Unlock();

    ASSERT_TRUE(doneEvent.Wait(20000));
    ASSERT_TRUE(block.Read(&value));
    EXPECT_EQ(value, 42);
    ASSERT_TRUE(peer.Wait(20000));
    EXPECT_EQ(peer.ExitCode(), 0u); // it found the block already made
}
