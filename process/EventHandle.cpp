#include "process/EventHandle.h"

#include "process/WinString.h"

namespace wm {

namespace {

HANDLE Duplicate(HANDLE h) {
    if (!UniqueHandle::IsValid(h))
        return nullptr;
    HANDLE copy = nullptr;
    HANDLE self = ::GetCurrentProcess();
    if (!::DuplicateHandle(self, h, self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS))
        return nullptr;
    return copy;
}

} // namespace

EventHandle::EventHandle(const EventHandle& other)
    : handle_(Duplicate(other.Handle())), alreadyExisted_(true) {}

EventHandle& EventHandle::operator=(const EventHandle& other) {
    if (this != &other) {
        handle_.reset(Duplicate(other.Handle()));
        alreadyExisted_ = true;
    }
    return *this;
}

bool EventHandle::CreateOrOpen(StringView name) {
    Close();
    String text(name);
    ::SetLastError(0);
    handle_.reset(::CreateEventW(nullptr, TRUE, FALSE, text.empty() ? nullptr : W(text)));
    alreadyExisted_ = ::GetLastError() == ERROR_ALREADY_EXISTS;
    return handle_.valid();
}

void EventHandle::Adopt(HANDLE h) {
    handle_.reset(h);
    alreadyExisted_ = true;
}

bool EventHandle::IsSet() const {
    return Wait(0);
}

bool EventHandle::Wait(uint32_t ms) const {
    return handle_.valid() && ::WaitForSingleObject(handle_.get(), ms) == WAIT_OBJECT_0;
}

int EventHandle::WaitForEither(const EventHandle& other, uint32_t ms) const {
    HANDLE both[2] = {handle_.get(), other.Handle()};
    switch (::WaitForMultipleObjects(2, both, FALSE, ms)) {
    case WAIT_OBJECT_0:
        return 1;
    case WAIT_OBJECT_0 + 1:
        return 2;
    case WAIT_TIMEOUT:
        return 0;
    default:
        return -1;
    }
}

void EventHandle::Set() {
    if (handle_.valid())
        ::SetEvent(handle_.get());
}

void EventHandle::Reset() {
    if (handle_.valid())
        ::ResetEvent(handle_.get());
}

bool EventHandle::Toggle() {
    if (IsSet()) {
        Reset();
        return false;
    }
    Set();
    return true;
}

void EventHandle::Close() {
    handle_.reset();
}

} // namespace wm
