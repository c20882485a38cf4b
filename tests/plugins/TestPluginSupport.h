// Shared plumbing of the scripted test plug-ins: text conversion, reading whole files, and the
// call log that every entry point writes to.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace wmtest {

inline std::string ToUtf8(const char16_t* text) {
    if (!text || !*text)
        return {};
    const wchar_t* w = reinterpret_cast<const wchar_t*>(text);
    int n = ::WideCharToMultiByte(CP_UTF8, 0, w, -1, nullptr, 0, nullptr, nullptr);
    std::string out(n > 0 ? n - 1 : 0, '\0');
    if (n > 1)
        ::WideCharToMultiByte(CP_UTF8, 0, w, -1, out.data(), n, nullptr, nullptr);
    return out;
}

inline std::u16string ToUtf16(const std::string& text) {
    if (text.empty())
        return {};
    int n =
        ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::u16string out(n, u'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                          reinterpret_cast<wchar_t*>(out.data()), n);
    return out;
}

inline bool ReadWholeFile(const std::u16string& path, std::vector<uint8_t>& data) {
    HANDLE file = ::CreateFileW(reinterpret_cast<const wchar_t*>(path.c_str()), GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    data.clear();
    uint8_t chunk[65536];
    DWORD got = 0;
    bool ok = true;
    while ((ok = ::ReadFile(file, chunk, sizeof chunk, &got, nullptr)) && got > 0)
        data.insert(data.end(), chunk, chunk + got);
    ::CloseHandle(file);
    return ok;
}

// Writes `data` to `path`, replacing (append = false) or extending it.
inline bool WriteToFile(const std::u16string& path, const void* data, size_t size, bool append) {
    HANDLE file = ::CreateFileW(
        reinterpret_cast<const wchar_t*>(path.c_str()), append ? FILE_APPEND_DATA : GENERIC_WRITE,
        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        append ? OPEN_ALWAYS : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    bool ok = size == 0 || (::WriteFile(file, data, static_cast<DWORD>(size), &written, nullptr) &&
                            written == size);
    ::CloseHandle(file);
    return ok;
}

// True when WAVEMILL_TEST_FAIL_CREATE names this kind of plug-in.
inline bool CreateShouldFail(const char* kind) {
    char value[64] = {};
    DWORD n = ::GetEnvironmentVariableA("WAVEMILL_TEST_FAIL_CREATE", value, sizeof value);
    return n > 0 && n < sizeof value && _stricmp(value, kind) == 0;
}

// One UTF-8 line per call. Calls made before the script names the log file (the create call
// and the first questions come before any file is known) are kept and written once it does.
// The file is opened per line so that a test can read it while the run goes on.
class CallLog {
  public:
    void SetPath(const std::u16string& path) {
        if (path.empty() || !path_.empty())
            return;
        path_ = path;
        for (const std::string& line : pending_)
            Append(line);
        pending_.clear();
    }
    void Line(const std::string& text) {
        if (path_.empty())
            pending_.push_back(text);
        else
            Append(text);
    }
    void Detail(const std::string& text) { Line("  " + text); }

  private:
    void Append(const std::string& text) {
        std::string line = text + "\n";
        WriteToFile(path_, line.data(), line.size(), true);
    }
    std::u16string path_;
    std::vector<std::string> pending_;
};

// The create and destroy entry points of a test plug-in: the scripted failure or a new
// instance (any type with a CallLog `log`), each call logged.
template <class Instance> void* CreateLogged(const char* kind) {
    if (CreateShouldFail(kind))
        return nullptr;
    auto* instance = new Instance;
    instance->log.Line("Create");
    return instance;
}
template <class Instance> void DestroyLogged(void* instance) {
    auto* self = static_cast<Instance*>(instance);
    self->log.Line("Destroy");
    delete self;
}

// Zero-filled check for the bytes a host promises to clear before a call.
inline bool AllZero(const void* data, size_t from, size_t to) {
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    for (size_t i = from; i < to; ++i)
        if (bytes[i])
            return false;
    return true;
}

// The deterministic test signal: the byte at stream offset k is k mod 251 (a prime, so the
// pattern never lines up with block or frame sizes).
inline uint8_t PatternByte(uint64_t offset) {
    return static_cast<uint8_t>(offset % 251);
}

} // namespace wmtest
