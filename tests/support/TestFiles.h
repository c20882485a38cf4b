// Helpers every Windows test shares: unique names, the staged program tree, fresh work folders
// and whole-file reads and writes.
#pragma once

#include "text/String.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace wm::test {

using Bytes = std::vector<uint8_t>;

// prefix + process id + "_" + a counter: tests may run side by side in one Wine prefix.
inline String UniqueName(StringView prefix) {
    static std::atomic<int> counter{0};
    return String(prefix) + Widen(std::to_string(::GetCurrentProcessId())) + u"_" +
           Widen(std::to_string(++counter));
}

// The staged program tree (WAVEMILL_STAGE, set by CTest), ending in "\".
inline String StageDir() {
    const char* v = std::getenv("WAVEMILL_STAGE");
    String s = Widen(v ? v : ".");
    ReplaceAll(s, u"/", u"\\");
    return s.ends_with(u'\\') ? s : s + u"\\";
}

// The system's temporary folder, ending in "\".
inline String TempDir() {
    wchar_t temp[MAX_PATH + 1] = {};
    DWORD n = ::GetTempPathW(MAX_PATH + 1, temp);
    return String(reinterpret_cast<const char16_t*>(temp), n);
}

// An empty folder of that name under the temporary folder, ending in "\". Process ids come
// round again under Wine: whatever an earlier run left there is cleared first.
inline String FreshFolder(StringView name) {
    String dir = TempDir() + String(name) + u"\\";
    std::error_code ignored;
    std::filesystem::remove_all(std::filesystem::path(dir), ignored);
    std::filesystem::create_directories(std::filesystem::path(dir), ignored);
    return dir;
}

inline void RemoveFolderTree(StringView dir) {
    std::error_code ignored;
    std::filesystem::remove_all(std::filesystem::path(dir), ignored);
}

// The whole file, or nothing when it cannot be read.
inline Bytes ReadBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

// Creates or replaces the file; true when every byte was written.
inline bool WriteBytes(const std::filesystem::path& path, const void* data, size_t size) {
    std::ofstream out(path, std::ios::binary);
    return out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size)) &&
           out.flush();
}
inline bool WriteBytes(const std::filesystem::path& path, const Bytes& bytes) {
    return WriteBytes(path, bytes.data(), bytes.size());
}

} // namespace wm::test
