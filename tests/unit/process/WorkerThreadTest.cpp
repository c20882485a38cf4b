#include "process/WorkerThread.h"
#include "process/WinString.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

using namespace wm;

namespace {

// Polls for a condition with a bound that only matters when something hangs.
template <typename F> bool Eventually(F condition) {
    for (int i = 0; i < 1000; ++i) {
        if (condition())
            return true;
        ::Sleep(10);
    }
    return condition();
}

} // namespace

TEST(WorkerThread, RoutineSeesItsStopEventByName) {
    std::atomic<bool> openedExisting{false}, sawStop{false};
    WorkerThread worker;
    ASSERT_TRUE(worker.Start(
        [&](EventHandle& stop) {
            openedExisting = stop.AlreadyExisted();
            sawStop = stop.Wait(60000);
        },
        false, 0));
    EXPECT_TRUE(worker.IsRunning());
    EXPECT_EQ(worker.StopEventName().rfind(u"TRDEVTQ-", 0), 0u);
    worker.Stop(true);
    EXPECT_FALSE(worker.IsRunning());
    EXPECT_FALSE(worker.IsSuspended());
    EXPECT_TRUE(openedExisting);
    EXPECT_TRUE(sawStop);
}

TEST(WorkerThread, StartSuspendedRunsOnlyAfterResume) {
    std::atomic<bool> ran{false};
    WorkerThread worker;
    ASSERT_TRUE(worker.Start([&](EventHandle&) { ran = true; }, true, 0));
    EXPECT_TRUE(worker.IsSuspended());
    ::Sleep(100);
    EXPECT_FALSE(ran);
    worker.Resume();
    EXPECT_FALSE(worker.IsSuspended());
    EXPECT_TRUE(Eventually([&] { return ran.load(); }));
    worker.Close();
}

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
    ASSERT_TRUE(Eventually([&] { return spins.load() > 0; }));

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

TEST(WorkerThread, StopEventNameSkipsNamesInUse) {
    // Occupy the names the next few seconds of tick counts would give.
    DWORD now = ::GetTickCount();
    std::vector<EventHandle> taken(3000);
    for (DWORD i = 0; i < taken.size(); ++i) {
        std::string name = "TRDEVTQ-" + std::to_string(static_cast<int32_t>(now + i));
        taken[i].CreateOrOpen(Widen(name));
    }
    WorkerThread worker;
    ASSERT_TRUE(worker.Start([](EventHandle& stop) { stop.Wait(60000); }, false, 0));
    String name = worker.StopEventName();
    for (DWORD i = 0; i < taken.size(); ++i)
        ASSERT_NE(name, Widen("TRDEVTQ-" + std::to_string(static_cast<int32_t>(now + i))));
    worker.Close();
    EXPECT_FALSE(worker.IsRunning());
}
