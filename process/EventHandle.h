// A manual-reset event, usually named so that another process can see it.
#pragma once

#include "process/UniqueHandle.h"
#include "text/String.h"

#include <cstdint>

namespace wm {

class EventHandle {
  public:
    EventHandle() = default;
    // Takes ownership of a raw event handle (marked as already existing).
    explicit EventHandle(HANDLE adopted) { Adopt(adopted); }
    // Copies hold a duplicate of the same event.
    EventHandle(const EventHandle& other);
    EventHandle& operator=(const EventHandle& other);
    EventHandle(EventHandle&&) noexcept = default;
    EventHandle& operator=(EventHandle&&) noexcept = default;

    // Manual reset, initially not signalled. An empty name gives an unnamed event.
    // Returns true when a handle was obtained; an existing object of that name is opened.
    bool CreateOrOpen(StringView name);
    void Adopt(HANDLE h);
    bool AlreadyExisted() const { return alreadyExisted_; }

    bool IsSet() const;
    bool Wait(uint32_t ms) const;
    // 1 when this event was signalled, 2 when the other was, 0 on time-out, -1 otherwise.
    int WaitForEither(const EventHandle& other, uint32_t ms) const;
    void Set();
    void Reset();
    // Resets a set event (false) or sets a clear one (true).
    bool Toggle();
    void Close();

    HANDLE Handle() const { return handle_.get(); }
    bool IsOpen() const { return handle_.valid(); }

  private:
    UniqueHandle handle_;
    bool alreadyExisted_ = false;
};

} // namespace wm
