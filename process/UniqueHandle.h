// One move-only owner for every kind of handle the program holds, in the manner of WIL's
// unique_any: the kind names its close call and the values that mean "none" (Win32 uses null
// for some handles, INVALID_HANDLE_VALUE for others, and either for a few). Header only, so the
// bundled plug-ins use the same owners as the host.
#pragma once

#include <windows.h>

#include <cstdint>
#include <type_traits>
#include <utility>

namespace wm {

// T: the handle type; Close: how to give it back; Invalid: the values (as integers) that hold
// nothing, the first one being what an empty owner holds.
template <typename T, auto Close, intptr_t... Invalid> class unique_any {
    static_assert(sizeof...(Invalid) > 0, "a handle kind needs an empty value");

  public:
    unique_any() = default;
    explicit unique_any(T value) : value_(value) {}
    ~unique_any() { reset(); }

    unique_any(const unique_any&) = delete;
    unique_any& operator=(const unique_any&) = delete;
    unique_any(unique_any&& other) noexcept : value_(other.release()) {}
    unique_any& operator=(unique_any&& other) noexcept {
        if (this != &other)
            reset(other.release());
        return *this;
    }

    static bool IsValid(T value) { return ((Bits(value) != Invalid) && ...); }

    T get() const { return value_; }
    bool valid() const { return IsValid(value_); }
    explicit operator bool() const { return valid(); }

    // Gives up ownership without closing.
    T release() { return std::exchange(value_, Empty()); }

    void reset(T value = Empty()) {
        T old = std::exchange(value_, value);
        if (IsValid(old) && old != value)
            Close(old);
    }

    // For a Win32 out parameter: closes what is held and lends the slot to fill.
    T* put() {
        reset();
        return &value_;
    }

  private:
    static intptr_t Bits(T value) {
        if constexpr (std::is_pointer_v<T>)
            return reinterpret_cast<intptr_t>(value);
        else
            return static_cast<intptr_t>(value);
    }
    static T Empty() {
        constexpr intptr_t kFirst[] = {Invalid...};
        if constexpr (std::is_pointer_v<T>)
            return reinterpret_cast<T>(kFirst[0]);
        else
            return static_cast<T>(kFirst[0]);
    }

    T value_ = Empty();
};

namespace close_calls {
inline void KernelHandle(HANDLE h) {
    ::CloseHandle(h);
}
inline void Module(HMODULE m) {
    ::FreeLibrary(m);
}
inline void RegistryKey(HKEY k) {
    ::RegCloseKey(k);
}
inline void FindHandle(HANDLE h) {
    ::FindClose(h);
}
inline void MappedView(void* v) {
    ::UnmapViewOfFile(v);
}
} // namespace close_calls

// Files, events, mutexes, mappings, threads, processes, pipes.
using UniqueHandle = unique_any<HANDLE, &close_calls::KernelHandle, 0, -1>;
// A file handle reads INVALID_HANDLE_VALUE (all bits set) while closed, as CreateFileW gives it.
using UniqueFileHandle = unique_any<HANDLE, &close_calls::KernelHandle, -1, 0>;
using UniqueModule = unique_any<HMODULE, &close_calls::Module, 0>;
using UniqueRegKey = unique_any<HKEY, &close_calls::RegistryKey, 0>;
using UniqueFindHandle = unique_any<HANDLE, &close_calls::FindHandle, -1, 0>;
using UniqueMappedView = unique_any<void*, &close_calls::MappedView, 0>;

} // namespace wm
