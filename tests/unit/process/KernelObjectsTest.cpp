#include "process/EventHandle.h"
#include "process/SharedMemoryBlock.h"
#include "tests/unit/process/PeerProcess.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace wm;
using wm::test::PeerProcess;
using wm::test::UniqueName;

// The converter's side of the protocol: another process opens the block and the events by
// name and updates the value under the guard while this one holds it.
TEST(SharedMemoryBlock, OtherProcessWritesUnderTheGuard) {
    String base = UniqueName(u"WmTest_xblk_"), ready = UniqueName(u"WmTest_ready_"),
           done = UniqueName(u"WmTest_done_");
    EventHandle readyEvent, doneEvent, readyAgain;
    ASSERT_TRUE(readyEvent.CreateOrOpen(ready));
    EXPECT_FALSE(readyEvent.AlreadyExisted());
    ASSERT_TRUE(doneEvent.CreateOrOpen(done));
    ASSERT_TRUE(readyAgain.CreateOrOpen(ready));
    EXPECT_TRUE(readyAgain.AlreadyExisted());
    SharedMemoryBlock block;
    ASSERT_TRUE(block.Open(base, 8));
    int64_t value = 41;
    ASSERT_TRUE(block.Write(&value));

    block.Lock();
    PeerProcess peer;
    ASSERT_TRUE(peer.Start(u"block " + base + u" " + ready + u" " + done));
    ASSERT_TRUE(readyAgain.Wait(20000));
    EXPECT_TRUE(readyEvent.IsSet()); // manual reset: waiting does not clear it
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
