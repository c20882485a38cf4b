// A throw-away program folder for plug-in tests, holding copies of the staged test plug-ins so
// that each test controls exactly which libraries discovery finds.
#pragma once

#include "process/Registry.h"
#include "process/WinString.h"
#include "text/String.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace wm::test {

inline String Unique(StringView prefix) {
    static std::atomic<int> counter{0};
    return String(prefix) + Widen(std::to_string(::GetCurrentProcessId())) + u"_" +
           Widen(std::to_string(++counter));
}

// Full path of a staged plug-in (below WAVEMILL_STAGE), e.g. StagedPlugin(u"decoder", u"X.dll").
inline String StagedPlugin(StringView kind, StringView file) {
    const char* stage = std::getenv("WAVEMILL_STAGE");
    String path = Widen(stage ? stage : "") + u"\\" + String(kind) + u"\\" + String(file);
    ReplaceAll(path, u"/", u"\\");
    return path;
}

class PluginTestFolder {
  public:
    PluginTestFolder() {
        wchar_t temp[MAX_PATH + 1];
        ::GetTempPathW(MAX_PATH + 1, temp);
        path_ = FromW(temp) + Unique(u"wm_plugins_") + u"\\";
        ::CreateDirectoryW(W(path_), nullptr);
    }
    ~PluginTestFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(W(path_), ignored);
    }
    // The program folder, with a trailing separator.
    const String& Path() const { return path_; }
    // Copies a staged plug-in into <kind>\<asName>; returns the copy's full path.
    String Add(StringView kind, StringView stagedFile, StringView asName) {
        ::CreateDirectoryW(W(path_ + String(kind)), nullptr);
        const String target = path_ + String(kind) + u"\\" + String(asName);
        ::CopyFileW(W(StagedPlugin(kind, stagedFile)), W(target), FALSE);
        return target;
    }
    // Makes an empty sub-folder <kind>\<name>.
    void AddFolder(StringView kind, StringView name) {
        ::CreateDirectoryW(W(path_ + String(kind)), nullptr);
        ::CreateDirectoryW(W(path_ + String(kind) + u"\\" + String(name)), nullptr);
    }

  private:
    String path_;
};

// A decoder cache key of the test's own below HKEY_CURRENT_USER (the handler appends "64");
// deleted with the object.
class TestCacheKey {
  public:
    ~TestCacheKey() { RegDeleteKeyTree(name_ + u"64", HKEY_CURRENT_USER, kParent); }
    const char16_t* Key() const { return key_.c_str(); }

  private:
    static constexpr char16_t kParent[] = u"Software\\Brightfold\\WavemillTests";
    String name_ = Unique(u"Cache"), key_ = String(kParent) + u"\\" + name_;
};

} // namespace wm::test
