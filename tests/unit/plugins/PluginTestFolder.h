// A throw-away program folder for plug-in tests, holding copies of the staged test plug-ins so
// that each test controls exactly which libraries discovery finds.
#pragma once

#include "process/Registry.h"
#include "process/WinString.h"
#include "tests/support/TestFiles.h"
#include "text/String.h"

#include <windows.h>

namespace wm::test {

// Full path of a staged plug-in, e.g. StagedPlugin(u"decoder", u"X.dll").
inline String StagedPlugin(StringView kind, StringView file) {
    return StageDir() + String(kind) + u"\\" + String(file);
}

class PluginTestFolder {
  public:
    PluginTestFolder() : path_(FreshFolder(UniqueName(u"wm_plugins_"))) {}
    ~PluginTestFolder() { RemoveFolderTree(path_); }
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
    String name_ = UniqueName(u"Cache"), key_ = String(kParent) + u"\\" + name_;
};

} // namespace wm::test
