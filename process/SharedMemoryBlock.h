// A small named block of shared memory, guarded across processes by its own named mutex.
// Its names follow the parent protocol (protocol/NamedObjects.h).
#pragma once

#include "process/MutexHandle.h"
#include "process/UniqueHandle.h"
#include "text/String.h"

#include <cstdint>

namespace wm {

class SharedMemoryBlock {
  public:
    SharedMemoryBlock() = default;
    // Opens at once; *opened receives the result of Open.
    SharedMemoryBlock(StringView baseName, uint32_t size, bool* opened,
                      bool* alreadyExisted = nullptr);
    ~SharedMemoryBlock() { Close(); }
    SharedMemoryBlock(const SharedMemoryBlock&) = delete;
    SharedMemoryBlock& operator=(const SharedMemoryBlock&) = delete;

    // Creates or opens the block; a block made earlier by another process is no failure.
    // A failure leaves what was obtained in place: test IsOpen before use.
    bool Open(StringView baseName, uint32_t size, bool* alreadyExisted = nullptr);
    bool IsOpen() const { return mapping_.valid() && view_.valid(); }

    // Holds the guard across several reads and writes.
    void Lock();
    void Unlock();

    // Copy exactly Size() bytes, taking the guard for the copy unless Lock holds it.
    // True when a view exists.
    bool Read(void* destination);
    bool Write(const void* source);

    void Close();
    uint32_t Size() const { return size_; }

  private:
    UniqueHandle mapping_;
    MutexHandle guard_;
    UniqueMappedView view_;
    uint32_t size_ = 0;
    bool locked_ = false;
};

} // namespace wm
