#include "process/MutexHandle.h"

#include "process/WinString.h"

namespace wm {

bool MutexHandle::CreateOrOpen(StringView name) {
    Close();
    String text(name);
    ::SetLastError(0);
    handle_.reset(::CreateMutexW(nullptr, FALSE, text.empty() ? nullptr : W(text)));
    alreadyExisted_ = ::GetLastError() == ERROR_ALREADY_EXISTS;
    return handle_.valid();
}

void MutexHandle::Lock() {
    if (!handle_.valid())
        return;
    ::WaitForSingleObject(handle_.get(), INFINITE);
    held_ = true;
}

bool MutexHandle::LockFor(uint32_t ms) {
    if (!handle_.valid())
        return false;
    DWORD r = ::WaitForSingleObject(handle_.get(), ms);
    if (r != WAIT_OBJECT_0 && r != WAIT_ABANDONED)
        return false;
    held_ = true;
    return true;
}

void MutexHandle::Unlock() {
    if (handle_.valid())
        ::ReleaseMutex(handle_.get());
    held_ = false;
}

ScopedLock::ScopedLock(MutexHandle& mutex) : mutex_(&mutex) {
    mutex.Lock();
}

ScopedLock::~ScopedLock() {
    if (mutex_)
        mutex_->Unlock();
}

void MutexHandle::Close() {
    if (held_)
        Unlock();
    handle_.reset();
}

} // namespace wm
