// The stack-protector guard for the plug-ins that link libFLAC and opus, which are built with
// the stack protector and fortified copies as Debian builds them. GCC's own guard set-up asks the
// system's crypto provider for the value, which makes Wine load rsaenh, crypt32, user32 and gdi32
// into every conversion (about 12 ms); this one mixes the clock, the counters, the ids and an
// address, as the Windows compilers' security cookie does. Linked as an object, ahead of libssp,
// so that libssp's own set-up is never pulled in.
#include <windows.h>

#include <cstdint>

extern "C" {

uintptr_t __stack_chk_guard = 0x2B992DDFA232u;

[[noreturn]] void __stack_chk_fail() {
    // A smashed stack: end at once, through the crash handler when it can still run.
    RaiseException(STATUS_STACK_BUFFER_OVERRUN, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    TerminateProcess(GetCurrentProcess(), STATUS_STACK_BUFFER_OVERRUN);
    __builtin_unreachable();
}

// A fortified copy found its destination too small.
[[noreturn]] void __chk_fail() {
    __stack_chk_fail();
}

} // extern "C"

namespace {

__attribute__((constructor)) void SetUpStackGuard() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    uint64_t mixed = (uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime) ^
                     static_cast<uint64_t>(counter.QuadPart) ^ GetTickCount64() ^
                     (uint64_t{GetCurrentProcessId()} << 32) ^ GetCurrentThreadId() ^
                     reinterpret_cast<uintptr_t>(&now);
    mixed *= 0x9E3779B97F4A7C15u; // spread the low-entropy bits over the whole word
    // A zero low byte stops a string copy running past the end from writing the guard back.
    __stack_chk_guard = static_cast<uintptr_t>(mixed ^ (mixed >> 29)) & ~uintptr_t{0xFF};
}

} // namespace
