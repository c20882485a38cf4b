#include "process/EventHandle.h"
#include "process/MutexHandle.h"
#include "process/SharedMemoryBlock.h"
#include "tests/unit/process/PeerProcess.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>

using namespace wm;
using wm::test::PeerProcess;
using wm::test::UniqueName;

TEST(EventHandle, NamedEventIsSharedAndReportsExisting) {
    String name = UniqueName("evt");
    EventHandle first, second;
    ASSERT_TRUE(first.CreateOrOpen(name));
    EXPECT_FALSE(first.AlreadyExisted());
    ASSERT_TRUE(second.CreateOrOpen(name));
    EXPECT_TRUE(second.AlreadyExisted());

    EXPECT_FALSE(second.IsSet());
    first.Set();
    EXPECT_TRUE(second.IsSet());
    EXPECT_TRUE(second.IsSet()); // manual reset: testing does not clear it
    EXPECT_FALSE(second.Toggle());
    EXPECT_FALSE(first.IsSet());
    EXPECT_TRUE(first.Toggle());
    EXPECT_TRUE(second.Wait(0));
    second.Reset();
    EXPECT_FALSE(first.Wait(0));
}

TEST(EventHandle, WaitForEitherTellsWhichOne) {
    EventHandle a, b;
    ASSERT_TRUE(a.CreateOrOpen(u""));
    ASSERT_TRUE(b.CreateOrOpen(u""));
    EXPECT_EQ(a.WaitForEither(b, 0), 0);
    b.Set();
    EXPECT_EQ(a.WaitForEither(b, 0), 2);
    a.Set();
    EXPECT_EQ(a.WaitForEither(b, 0), 1);
    EventHandle none;
    EXPECT_EQ(none.WaitForEither(EventHandle(), 0), -1);
}

TEST(EventHandle, CopyDuplicatesAndOutlivesOriginal) {
    EventHandle original;
    ASSERT_TRUE(original.CreateOrOpen(u""));
    EventHandle copy(original);
    EXPECT_TRUE(copy.AlreadyExisted());
    EXPECT_NE(copy.Handle(), original.Handle());
    original.Close();
    EXPECT_FALSE(original.IsOpen());
    EXPECT_FALSE(original.IsSet());
    original.Set(); // no handle: nothing happens
    ASSERT_TRUE(copy.IsOpen());
    copy.Set();
    EXPECT_TRUE(copy.IsSet());
}

TEST(MutexHandle, ExcludesOtherThreadsUntilUnlocked) {
    String name = UniqueName("mtx");
    MutexHandle mine, theirs;
    ASSERT_TRUE(mine.CreateOrOpen(name));
    ASSERT_TRUE(theirs.CreateOrOpen(name));
    EXPECT_TRUE(theirs.AlreadyExisted());
    mine.Lock();
    EXPECT_TRUE(mine.IsHeld());

    bool gotWhileHeld = true, gotAfter = false;
    std::thread([&] { gotWhileHeld = theirs.LockFor(0); }).join();
    EXPECT_FALSE(gotWhileHeld);
    mine.Unlock();
    EXPECT_FALSE(mine.IsHeld());
    std::thread([&] {
        gotAfter = theirs.LockFor(5000);
        theirs.Unlock();
    }).join();
    EXPECT_TRUE(gotAfter);
}

TEST(SharedMemoryBlock, UnopenedBlockCopiesNothing) {
    SharedMemoryBlock block;
    int64_t value = 7;
    EXPECT_FALSE(block.IsOpen());
    EXPECT_FALSE(block.Write(&value));
    EXPECT_FALSE(block.Read(&value));
    EXPECT_EQ(value, 7);
}

// The converter's side of the protocol: another process opens the block by name and updates
// the value under the guard while this one waits on named events.
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
