#include "process/WorkerThread.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace wm;

// A routine that ignores its stop event is put to sleep, not killed; a later stop wakes it
// before signalling again.
TEST(WorkerThread, HungRoutineIsSuspendedThenResumedByNextStop) {
    std::atomic<bool> mayEnd{false};
    std::atomic<uint64_t> spins{0};
    WorkerThread worker;
    ASSERT_TRUE(worker.Start(
        [&](EventHandle&) {
            while (!mayEnd) {
                ++spins;
                ::Sleep(1);
            }
        },
        false, 200));
    for (int i = 0; i < 1000 && spins == 0; ++i)
        ::Sleep(10);
    ASSERT_GT(spins.load(), 0u);

    worker.Stop(true);
    EXPECT_TRUE(worker.IsSuspended());
    EXPECT_TRUE(worker.IsRunning()); // still alive
    ::Sleep(50);
    uint64_t frozen = spins;
    ::Sleep(150);
    EXPECT_EQ(spins.load(), frozen);

    mayEnd = true;
    worker.Stop(true);
    EXPECT_FALSE(worker.IsSuspended());
    EXPECT_FALSE(worker.IsRunning());
}
