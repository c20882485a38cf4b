// A background thread with a private, named stop event.
//
// The routine receives its own handle to the stop event and must return once it is set.
// A routine that does not return within the stop limit is suspended, never killed: killing a
// thread inside a plug-in can leave locks held for good, a suspended one only sleeps.
#pragma once

#include "process/EventHandle.h"
#include "process/UniqueHandle.h"
#include "text/String.h"

#include <cstdint>
#include <functional>

namespace wm {

class WorkerThread {
  public:
    using Routine = std::function<void(EventHandle& stop)>;

    WorkerThread() = default;
    ~WorkerThread() { Close(); }
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    // stopLimitMs 0 means Stop(true) waits without limit. A thread started suspended runs
    // after Resume (or the next Stop).
    bool Start(Routine routine, bool startSuspended, uint32_t stopLimitMs);
    // Sets the stop event (resuming a suspended thread first); with wait, waits for the end
    // in 25 ms steps and suspends the thread when the limit runs out.
    void Stop(bool wait);
    void Resume();
    // Stops with waiting, then lets go of the thread and the stop event.
    void Close();

    bool IsSuspended() const { return suspended_; }
    bool IsRunning() const;
    const String& StopEventName() const { return stopName_; }

  private:
    EventHandle stop_;
    String stopName_;
    UniqueHandle thread_;
    uint32_t stopLimitMs_ = 0;
    bool suspended_ = false;
};

} // namespace wm
