// A file handle for the bundled plug-ins: positioned reads, buffered-by-caller writes. Paths
// pass through the host's long-path rule.
#pragma once

#include "process/UniqueHandle.h"

#include <cstddef>
#include <cstdint>

namespace wm::bundled {

// Deletes a file the plug-in made, best effort (a leftover is not worth a failure of its own).
void DeletePath(const char16_t* path);

class Win32File {
  public:
    Win32File() = default;
    Win32File(const Win32File&) = delete;
    Win32File& operator=(const Win32File&) = delete;
    ~Win32File() { Close(); }

    // Shared so that other readers and a writer still appending do not lock us out.
    bool OpenForReading(const char16_t* path);
    // Replaces any existing file.
    bool CreateForWriting(const char16_t* path);
    // An existing file, to be read and rewritten in place.
    bool OpenForUpdate(const char16_t* path);
    // Only a file that does not exist yet.
    bool CreateNew(const char16_t* path);
    bool IsOpen() const;
    uint64_t Size() const;
    // Returns the bytes read at `offset`; short only at the end of the file or on failure.
    size_t ReadAt(uint64_t offset, void* buffer, size_t length);
    // Sequential write at the current position; true when every byte was written.
    bool Write(const void* data, size_t length);
    bool WriteAt(uint64_t offset, const void* data, size_t length);
    // Cuts or extends the file to `size` bytes.
    bool SetSize(uint64_t size);
    // True when there was nothing to close or the close succeeded.
    bool Close();

  private:
    bool Seek(uint64_t offset);
    bool Create(const char16_t* path, DWORD access, DWORD share, DWORD disposition, DWORD flags);

    UniqueHandle handle_;
};

} // namespace wm::bundled
