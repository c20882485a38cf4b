#include "bundled/win/Win32File.h"

#include <windows.h>

namespace wm::bundled {

namespace {

// ReadFile and WriteFile move at most a DWORD at a time; stay well below it.
constexpr size_t kMaxTransfer = 1u << 30;

const wchar_t* W(const std::u16string& s) {
    return reinterpret_cast<const wchar_t*>(s.c_str());
}

OVERLAPPED At(uint64_t offset) {
    OVERLAPPED o{};
    o.Offset = static_cast<DWORD>(offset);
    o.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return o;
}

} // namespace

std::u16string SystemPath(const char16_t* path) {
    std::u16string p(path);
    if (p.size() < MAX_PATH || p.starts_with(u"\\\\"))
        return p;
    for (char16_t& c : p)
        if (c == u'/')
            c = u'\\';
    return u"\\\\?\\" + p;
}

bool Win32File::OpenForReading(const char16_t* path) {
    Close();
    HANDLE h = CreateFileW(W(SystemPath(path)), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                           nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    handle_ = h == INVALID_HANDLE_VALUE ? nullptr : h;
    return handle_ != nullptr;
}

bool Win32File::CreateForWriting(const char16_t* path) {
    Close();
    HANDLE h = CreateFileW(W(SystemPath(path)), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                           CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    handle_ = h == INVALID_HANDLE_VALUE ? nullptr : h;
    return handle_ != nullptr;
}

bool Win32File::OpenForUpdate(const char16_t* path) {
    Close();
    HANDLE h = CreateFileW(W(SystemPath(path)), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                           nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    handle_ = h == INVALID_HANDLE_VALUE ? nullptr : h;
    return handle_ != nullptr;
}

bool Win32File::CreateNew(const char16_t* path, bool& exists) {
    Close();
    HANDLE h = CreateFileW(W(SystemPath(path)), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    const DWORD error = GetLastError();
    exists =
        h == INVALID_HANDLE_VALUE && (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS);
    handle_ = h == INVALID_HANDLE_VALUE ? nullptr : h;
    return handle_ != nullptr;
}

bool Win32File::IsOpen() const {
    return handle_ != nullptr;
}

uint64_t Win32File::Size() const {
    LARGE_INTEGER size{};
    if (!handle_ || !GetFileSizeEx(handle_, &size))
        return 0;
    return static_cast<uint64_t>(size.QuadPart);
}

size_t Win32File::ReadAt(uint64_t offset, void* buffer, size_t length) {
    size_t done = 0;
    while (handle_ && done < length) {
        const DWORD want =
            static_cast<DWORD>(length - done < kMaxTransfer ? length - done : kMaxTransfer);
        OVERLAPPED o = At(offset + done);
        DWORD got = 0;
        // A positioned read past the end fails with ERROR_HANDLE_EOF: that is just the end.
        if (!ReadFile(handle_, static_cast<char*>(buffer) + done, want, &got, &o) || got == 0)
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
        if (!WriteFile(handle_, static_cast<const char*>(data) + done, want, &put, nullptr) ||
            put == 0)
            return false;
        done += put;
    }
    return handle_ != nullptr;
}

bool Win32File::WriteAt(uint64_t offset, const void* data, size_t length) {
    if (!handle_ || length > kMaxTransfer)
        return false;
    OVERLAPPED o = At(offset);
    DWORD put = 0;
    return WriteFile(handle_, data, static_cast<DWORD>(length), &put, &o) && put == length;
}

bool Win32File::Close() {
    if (!handle_)
        return true;
    const bool ok = CloseHandle(handle_) != 0;
    handle_ = nullptr;
    return ok;
}

} // namespace wm::bundled
