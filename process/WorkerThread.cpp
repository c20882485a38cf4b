#include "process/WorkerThread.h"

#include "process/WinString.h"

#include <process.h>

#include <memory>
#include <string>

namespace wm {

namespace {

struct StartRecord {
    String stopName;
    WorkerThread::Routine routine;
};

unsigned __stdcall ThreadMain(void* arg) {
    std::unique_ptr<StartRecord> record(static_cast<StartRecord*>(arg));
    // The thread opens its own handle so that either side may close independently.
    EventHandle stop;
    stop.CreateOrOpen(record->stopName);
    record->routine(stop);
    stop.Close();
    return 0;
}

String StopNameFor(uint32_t number) {
    std::string text = "TRDEVTQ-" + std::to_string(static_cast<int32_t>(number));
    return String(text.begin(), text.end());
}

} // namespace

bool WorkerThread::Start(Routine routine, bool startSuspended, uint32_t stopLimitMs) {
    Close();
    suspended_ = startSuspended;
    stopLimitMs_ = stopLimitMs;

    auto record = std::make_unique<StartRecord>();
    record->routine = std::move(routine);

    // Tick-count names keep several converters apart; a name in use is never shared.
    stopName_ = StopNameFor(::GetTickCount());
    stop_.CreateOrOpen(stopName_);
    for (uint32_t k = 1; stop_.AlreadyExisted(); ++k) {
        stopName_ = StopNameFor(k + ::GetTickCount());
        stop_.CreateOrOpen(stopName_);
    }
    record->stopName = stopName_;

    unsigned id = 0;
    uintptr_t h = _beginthreadex(nullptr, 0, ThreadMain, record.get(),
                                 startSuspended ? CREATE_SUSPENDED : 0, &id);
    if (h == 0) {
        suspended_ = false;
        return false;
    }
    record.release(); // the thread frees it
    thread_.reset(reinterpret_cast<HANDLE>(h));
    return true;
}

void WorkerThread::Resume() {
    if (thread_.valid() && suspended_) {
        ::ResumeThread(thread_.get());
        suspended_ = false;
    }
}

void WorkerThread::Stop(bool wait) {
    if (!thread_.valid())
        return;
    Resume();
    stop_.Set();
    if (!wait)
        return;
    DWORD started = ::GetTickCount();
    while (::WaitForSingleObject(thread_.get(), 25) == WAIT_TIMEOUT) {
        if (stopLimitMs_ != 0 && ::GetTickCount() - started > stopLimitMs_) {
            ::SuspendThread(thread_.get());
            suspended_ = true;
            return;
        }
    }
}

void WorkerThread::Close() {
    Stop(true);
    thread_.reset();
    stop_.Close();
    suspended_ = false;
}

bool WorkerThread::IsRunning() const {
    return thread_.valid() && ::WaitForSingleObject(thread_.get(), 0) == WAIT_TIMEOUT;
}

} // namespace wm
