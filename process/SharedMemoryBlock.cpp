#include "process/SharedMemoryBlock.h"

#include "process/WinString.h"
#include "protocol/NamedObjects.h"

#include <cstring>

namespace wm {

SharedMemoryBlock::SharedMemoryBlock(StringView baseName, uint32_t size, bool* opened,
                                     bool* alreadyExisted) {
    bool ok = Open(baseName, size, alreadyExisted);
    if (opened)
        *opened = ok;
}

bool SharedMemoryBlock::Open(StringView baseName, uint32_t size, bool* alreadyExisted) {
    Close();
    size_ = size;
    locked_ = false;
    if (alreadyExisted)
        *alreadyExisted = false;

    guard_.CreateOrOpen(SharedBlockGuardName(baseName));

    const String mappingName = SharedBlockMappingName(baseName);
    ::SetLastError(0);
    mapping_.reset(::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size,
                                        W(mappingName)));
    if (alreadyExisted && ::GetLastError() == ERROR_ALREADY_EXISTS)
        *alreadyExisted = true;
    if (mapping_.valid())
        view_.reset(::MapViewOfFile(mapping_.get(), FILE_MAP_WRITE, 0, 0, 0));
    return IsOpen();
}

void SharedMemoryBlock::Lock() {
    guard_.Lock();
    locked_ = true;
}

void SharedMemoryBlock::Unlock() {
    guard_.Unlock();
    locked_ = false;
}

bool SharedMemoryBlock::Read(void* destination) {
    if (!view_)
        return false;
    ScopedLock copying = locked_ ? ScopedLock() : guard_.LockScoped();
    std::memcpy(destination, view_.get(), size_);
    return true;
}

bool SharedMemoryBlock::Write(const void* source) {
    if (!view_)
        return false;
    ScopedLock copying = locked_ ? ScopedLock() : guard_.LockScoped();
    std::memcpy(view_.get(), source, size_);
    return true;
}

void SharedMemoryBlock::Close() {
    view_.reset();
    mapping_.reset();
    if (locked_)
        Unlock();
    guard_.Close();
}

} // namespace wm
