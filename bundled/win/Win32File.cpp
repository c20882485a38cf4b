#include "bundled/win/Win32File.h"

#include "files/PathText.h"
#include "files/SystemPath.h"

#include <windows.h>

namespace wm::bundled {

namespace {

// ReadFile and WriteFile move at most a DWORD at a time; stay well below it.
constexpr size_t kMaxTransfer = 1u << 30;

} // namespace

void DeletePath(const char16_t* path) {
    String systemPath;
    if (path && *path && SystemPathForm(path, kOtherPathLimit, systemPath))
        DeleteFileW(reinterpret_cast<const wchar_t*>(systemPath.c_str()));
}

bool Win32File::Create(const char16_t* path, DWORD access, DWORD share, DWORD disposition,
                       DWORD flags) {
    Close();
    String systemPath;
    if (!SystemPathForm(path, kOpenPathLimit, systemPath))
        return false;
    handle_.reset(CreateFileW(reinterpret_cast<const wchar_t*>(systemPath.c_str()), access, share,
                              nullptr, disposition, flags, nullptr));
    return handle_.valid();
}

bool Win32File::OpenForReading(const char16_t* path) {
    return Create(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING,
                  FILE_FLAG_SEQUENTIAL_SCAN);
}

bool Win32File::CreateForWriting(const char16_t* path) {
    return Create(path, GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL);
}

bool Win32File::OpenForUpdate(const char16_t* path) {
    return Create(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING,
                  FILE_FLAG_SEQUENTIAL_SCAN);
}

bool Win32File::CreateNew(const char16_t* path) {
    return Create(path, GENERIC_WRITE, FILE_SHARE_READ, CREATE_NEW, FILE_ATTRIBUTE_NORMAL);
}

bool Win32File::IsOpen() const {
    return handle_.valid();
}

uint64_t Win32File::Size() const {
    LARGE_INTEGER size{};
    if (!handle_ || !GetFileSizeEx(handle_.get(), &size))
        return 0;
    return static_cast<uint64_t>(size.QuadPart);
}

// Positioned reads and writes seek and then move at the file pointer: through an OVERLAPPED
// record each call would cost Wine a server round trip (for the completion it might post).
bool Win32File::Seek(uint64_t offset) {
    LARGE_INTEGER to{};
    to.QuadPart = static_cast<LONGLONG>(offset);
    return handle_ && SetFilePointerEx(handle_.get(), to, nullptr, FILE_BEGIN);
}

size_t Win32File::ReadAt(uint64_t offset, void* buffer, size_t length) {
    if (!Seek(offset))
        return 0;
    size_t done = 0;
    while (done < length) {
        const DWORD want =
            static_cast<DWORD>(length - done < kMaxTransfer ? length - done : kMaxTransfer);
        DWORD got = 0;
        // Reading at or past the end gives 0 bytes: that is just the end.
        if (!ReadFile(handle_.get(), static_cast<char*>(buffer) + done, want, &got, nullptr) ||
            got == 0)
            break;
        done += got;
    }
    return done;
}

bool Win32File::Write(const void* data, size_t length) {
    size_t done = 0;
    while (handle_ && done < length) {
        const DWORD want =
            static_cast<DWORD>(length - done < kMaxTransfer ? length - done : kMaxTransfer);
        DWORD put = 0;
        if (!WriteFile(handle_.get(), static_cast<const char*>(data) + done, want, &put, nullptr))
            return false;
        if (put == 0) {
            SetLastError(ERROR_DISK_FULL); // a file takes fewer bytes only when the disk is full
            return false;
        }
        done += put;
    }
    return handle_.valid();
}

bool Win32File::WriteAt(uint64_t offset, const void* data, size_t length) {
    return Seek(offset) && Write(data, length);
}

bool Win32File::SetSize(uint64_t size) {
    return Seek(size) && SetEndOfFile(handle_.get()) != 0;
}

bool Win32File::Close() {
    // A close can be the first to report a write the disk could not take.
    return !handle_ || CloseHandle(handle_.release()) != 0;
}

} // namespace wm::bundled
