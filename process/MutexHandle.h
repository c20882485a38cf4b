// A named mutex shared between processes.
#pragma once

#include "process/UniqueHandle.h"
#include "text/String.h"

#include <cstdint>
#include <utility>

namespace wm {

class MutexHandle;

// Holds a mutex from construction to destruction; an empty one holds nothing.
class ScopedLock {
  public:
    ScopedLock() = default;
    explicit ScopedLock(MutexHandle& mutex);
    ~ScopedLock();
    ScopedLock(ScopedLock&& other) noexcept : mutex_(std::exchange(other.mutex_, nullptr)) {}
    ScopedLock& operator=(ScopedLock&&) = delete;
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

  private:
    MutexHandle* mutex_ = nullptr;
};

class MutexHandle {
  public:
    MutexHandle() = default;
    ~MutexHandle() { Close(); }
    MutexHandle(const MutexHandle&) = delete;
    MutexHandle& operator=(const MutexHandle&) = delete;

    // Not initially owned. Returns true when a handle was obtained.
    bool CreateOrOpen(StringView name);
    bool AlreadyExisted() const { return alreadyExisted_; }

    // A mutex whose owner died (abandoned) is ours after the wait, so it counts as locked.
    void Lock();
    // Lock until the returned object goes out of scope.
    [[nodiscard]] ScopedLock LockScoped() { return ScopedLock(*this); }
    bool LockFor(uint32_t ms);
    void Unlock();
    // Releases a held lock first: a closed owner would leave the mutex abandoned.
    void Close();

    bool IsHeld() const { return held_; }
    HANDLE Handle() const { return handle_.get(); }
    bool IsOpen() const { return handle_.valid(); }

  private:
    UniqueHandle handle_;
    bool held_ = false;
    bool alreadyExisted_ = false;
};

} // namespace wm
