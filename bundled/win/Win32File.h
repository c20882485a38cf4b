// A file handle for the bundled plug-ins: positioned reads, buffered-by-caller writes.
// The header stays free of <windows.h> so that the export tables never see its names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace wm::bundled {

// The path as the file calls want it: "\\?\" in front of a local path of 260 characters or
// more, so that long names still open; UNC and already-prefixed paths pass unchanged.
std::u16string SystemPath(const char16_t* path);

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
    // Only a file that does not exist yet; `exists` tells that apart from other failures.
    bool CreateNew(const char16_t* path, bool& exists);
    bool IsOpen() const;
    uint64_t Size() const;
    // Returns the bytes read at `offset`; short only at the end of the file or on failure.
    size_t ReadAt(uint64_t offset, void* buffer, size_t length);
    // Sequential write at the current position; true when every byte was written.
    bool Write(const void* data, size_t length);
    bool WriteAt(uint64_t offset, const void* data, size_t length);
    // True when there was nothing to close or the close succeeded.
    bool Close();

  private:
    void* handle_ = nullptr; // HANDLE; null when closed
};

} // namespace wm::bundled
