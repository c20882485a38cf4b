// Move-only owner of one kernel handle. Null and INVALID_HANDLE_VALUE both count as empty,
// because Win32 uses either as its "no handle" depending on the call.
#pragma once

#include <windows.h>

#include <utility>

namespace wm {

class UniqueHandle {
  public:
    UniqueHandle() = default;
    explicit UniqueHandle(HANDLE h) : handle_(h) {}
    ~UniqueHandle() { reset(); }

    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other)
            reset(other.release());
        return *this;
    }

    static bool IsValid(HANDLE h) { return h != nullptr && h != INVALID_HANDLE_VALUE; }

    HANDLE get() const { return handle_; }
    bool valid() const { return IsValid(handle_); }
    explicit operator bool() const { return valid(); }

    // Gives up ownership without closing.
    HANDLE release() { return std::exchange(handle_, nullptr); }

    void reset(HANDLE h = nullptr) {
        HANDLE old = std::exchange(handle_, h);
        if (IsValid(old) && old != h)
            ::CloseHandle(old);
    }

  private:
    HANDLE handle_ = nullptr;
};

} // namespace wm
