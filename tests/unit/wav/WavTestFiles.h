// Whole-file reads and writes, test data and folders for the tests and the tool that drive the
// WAV plug-ins through Win32.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace wm::test {

using Bytes = std::vector<uint8_t>;

inline std::wstring Env(const wchar_t* name) {
    wchar_t buffer[1024];
    const DWORD n = GetEnvironmentVariableW(name, buffer, 1024);
    return n && n < 1024 ? std::wstring(buffer, n) : std::wstring();
}

// The whole file, or nothing when it cannot be read.
inline Bytes ReadBytes(const wchar_t* path) {
    HANDLE h = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return {};
    Bytes b(GetFileSize(h, nullptr));
    DWORD got = 0;
    if (!ReadFile(h, b.data(), static_cast<DWORD>(b.size()), &got, nullptr))
        got = 0;
    CloseHandle(h);
    b.resize(got);
    return b;
}
inline Bytes ReadBytes(const std::wstring& path) {
    return ReadBytes(path.c_str());
}

// Creates or replaces the file with `bytes`; true when all of them were written.
inline bool WriteBytes(const std::wstring& path, const Bytes& bytes) {
    HANDLE h = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return false;
    DWORD put = 0;
    const bool ok = WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &put, nullptr) &&
                    put == bytes.size();
    return CloseHandle(h) && ok;
}

// Repeatable noise, different for each seed.
inline Bytes Noise(size_t length, uint32_t seed) {
    Bytes b(length);
    for (uint8_t& x : b) {
        seed = seed * 1664525u + 1013904223u;
        x = static_cast<uint8_t>(seed >> 24);
    }
    return b;
}

// Makes (if need be) the folder `name` in the temporary folder and returns its path.
inline std::wstring MakeTempFolder(const wchar_t* name) {
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    const std::wstring folder = std::wstring(temp) + name;
    CreateDirectoryW(folder.c_str(), nullptr);
    return folder;
}

} // namespace wm::test
