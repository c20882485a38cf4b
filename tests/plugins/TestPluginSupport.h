// Shared plumbing of the scripted test plug-ins: text conversion, whole-file reads and writes,
// the scripted create failure and crashes on demand.
#pragma once

#include "process/UniqueHandle.h"

#include <windows.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace wmtest {

inline const wchar_t* W(const std::u16string& s) {
    return reinterpret_cast<const wchar_t*>(s.c_str());
}

inline std::string ToUtf8(const char16_t* text) {
    if (!text || !*text)
        return {};
    const wchar_t* w = reinterpret_cast<const wchar_t*>(text);
    int n = ::WideCharToMultiByte(CP_UTF8, 0, w, -1, nullptr, 0, nullptr, nullptr);
    std::string out(n - 1, '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, w, -1, out.data(), n, nullptr, nullptr);
    return out;
}

inline std::u16string ToUtf16(const std::string& text) {
    int size = static_cast<int>(text.size());
    int n = size ? ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0) : 0;
    std::u16string out(n, u'\0');
    if (n)
        ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, reinterpret_cast<wchar_t*>(out.data()),
                              n);
    return out;
}

inline bool ReadWholeFile(const std::u16string& path, std::vector<uint8_t>& data) {
    wm::UniqueHandle file(::CreateFileW(W(path), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return false;
    data.clear();
    uint8_t chunk[65536];
    DWORD got = 0;
    bool ok = true;
    while ((ok = ::ReadFile(file.get(), chunk, sizeof chunk, &got, nullptr)) && got > 0)
        data.insert(data.end(), chunk, chunk + got);
    return ok;
}

// Writes `data` to `path`, replacing (append = false) or extending it. Opened per call so that
// a test can read the file while the run goes on.
inline bool WriteToFile(const std::u16string& path, const void* data, size_t size, bool append) {
    wm::UniqueHandle file(::CreateFileW(W(path), append ? FILE_APPEND_DATA : GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, append ? OPEN_ALWAYS : CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return false;
    DWORD written = 0;
    return size == 0 ||
           (::WriteFile(file.get(), data, static_cast<DWORD>(size), &written, nullptr) &&
            written == size);
}

// The value of an environment variable as UTF-8; empty when unset.
inline std::string EnvText(const char* name) {
    wchar_t value[4096] = {};
    const std::u16string wide = ToUtf16(name);
    DWORD n = ::GetEnvironmentVariableW(W(wide), value, 4096);
    return n > 0 && n < 4096 ? ToUtf8(reinterpret_cast<const char16_t*>(value)) : std::string();
}

// Appends one line to a UTF-8 log file; nothing when the path is empty.
inline void AppendLine(const std::u16string& path, const std::string& line) {
    if (!path.empty())
        WriteToFile(path, (line + "\n").data(), line.size() + 1, true);
}

// A new instance, or none when WAVEMILL_TEST_FAIL_CREATE names this kind of plug-in.
template <class Instance> void* CreateUnlessScripted(const char* kind) {
    if (_stricmp(EnvText("WAVEMILL_TEST_FAIL_CREATE").c_str(), kind) == 0)
        return nullptr;
    return new Instance;
}

// Upper-cased at run time into a heap block that the crashing frame points at: a crash dump holds
// the upper-case text only when the memory the stack points at was added (the program image,
// with this lower-case text, is not in a dump).
inline constexpr char kCrashMarker[] = "wavemill-test-crash-marker";

[[gnu::noinline]] inline uint64_t Recurse(uint64_t depth) {
    volatile char frame[512];
    frame[0] = static_cast<char>(depth);
    // Never reaches the end; the addition keeps the call from becoming a loop.
    return depth == UINT64_MAX ? 0 : Recurse(depth + 1) + frame[0];
}

// Crashes as kind says: "access" (access violation), "illegal" (illegal instruction), "stack"
// (stack overflow) or "throw" (a C++ exception out of the plug-in). Other kinds return.
[[gnu::noinline]] inline void CrashOnDemand(const std::string& kind) {
    char* marker = new char[sizeof kCrashMarker];
    volatile int toUpper = 'a' - 'A'; // read at run time, so the text is never a constant
    for (size_t i = 0; i < sizeof kCrashMarker; ++i)
        marker[i] =
            static_cast<char>(kCrashMarker[i] >= 'a' ? kCrashMarker[i] - toUpper : kCrashMarker[i]);
    char* volatile onStack = marker;
    if (kind == "access")
        *static_cast<volatile char*>(nullptr) = onStack[0];
    else if (kind == "illegal")
        __builtin_trap();
    else if (kind == "stack")
        Recurse(onStack[0]);
    else if (kind == "throw")
        throw std::runtime_error(onStack);
    delete[] marker;
}

} // namespace wmtest
