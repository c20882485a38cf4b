// A throw-away program folder for plug-in tests, populated with copies of the staged test
// plug-ins, so that each test controls exactly which libraries discovery finds.
#pragma once

#include "text/String.h"

namespace wm::test {

// Full path of a staged plug-in (below WAVEMILL_STAGE), e.g. StagedPlugin(u"decoder", u"X.dll").
String StagedPlugin(StringView kind, StringView file);

class PluginTestFolder {
  public:
    PluginTestFolder();
    ~PluginTestFolder();
    PluginTestFolder(const PluginTestFolder&) = delete;
    PluginTestFolder& operator=(const PluginTestFolder&) = delete;

    // The program folder, with a trailing separator.
    const String& Path() const { return path_; }
    // Copies a staged plug-in into <kind>\<asName>; returns the copy's full path.
    String Add(StringView kind, StringView stagedFile, StringView asName);
    // Makes an empty sub-folder <kind>\<name>.
    void AddFolder(StringView kind, StringView name);

  private:
    String path_;
};

// A decoder cache key of the test's own below HKEY_CURRENT_USER (without the "64" that the
// handler appends); the whole key is deleted when the object goes.
class TestCacheKey {
  public:
    TestCacheKey();
    ~TestCacheKey();
    const char16_t* Key() const { return key_.c_str(); }
    String UsedKey() const { return key_ + u"64"; }

  private:
    String name_, key_;
};

} // namespace wm::test
