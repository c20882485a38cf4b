#include "PluginTestFolder.h"

#include "process/Registry.h"
#include "process/WinString.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace wm::test {

namespace {

constexpr char16_t kTestRegistryParent[] = u"Software\\Brightfold\\WavemillTests";

String Unique(StringView prefix) {
    static std::atomic<int> counter{0};
    return String(prefix) + Widen(std::to_string(::GetCurrentProcessId())) + u"_" +
           Widen(std::to_string(++counter));
}

} // namespace

String StagedPlugin(StringView kind, StringView file) {
    const char* stage = std::getenv("WAVEMILL_STAGE");
    String folder = Widen(stage ? stage : "") + u"\\";
    ReplaceAll(folder, u"/", u"\\");
    return folder + String(kind) + u"\\" + String(file);
}

PluginTestFolder::PluginTestFolder() {
    wchar_t temp[MAX_PATH + 1];
    ::GetTempPathW(MAX_PATH + 1, temp);
    path_ = FromW(temp) + Unique(u"wm_plugins_") + u"\\";
    ::CreateDirectoryW(W(path_), nullptr);
}

PluginTestFolder::~PluginTestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(W(path_), ignored);
}

String PluginTestFolder::Add(StringView kind, StringView stagedFile, StringView asName) {
    const String folder = path_ + String(kind) + u"\\";
    ::CreateDirectoryW(W(folder), nullptr);
    const String target = folder + String(asName);
    ::CopyFileW(W(StagedPlugin(kind, stagedFile)), W(target), FALSE);
    return target;
}

void PluginTestFolder::AddFolder(StringView kind, StringView name) {
    ::CreateDirectoryW(W(path_ + String(kind)), nullptr);
    ::CreateDirectoryW(W(path_ + String(kind) + u"\\" + String(name)), nullptr);
}

TestCacheKey::TestCacheKey()
    : name_(Unique(u"Cache")), key_(String(kTestRegistryParent) + u"\\" + name_) {}

TestCacheKey::~TestCacheKey() {
    RegDeleteKeyTree(name_ + u"64", HKEY_CURRENT_USER, kTestRegistryParent);
}

} // namespace wm::test
