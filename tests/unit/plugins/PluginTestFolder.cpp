#include "PluginTestFolder.h"

#include "process/Registry.h"
#include "process/WinString.h"

#include <windows.h>

#include <atomic>
#include <string>

namespace wm::test {

namespace {

constexpr char16_t kTestRegistryParent[] = u"Software\\Brightfold\\WavemillTests";

String Unique(StringView prefix) {
    static std::atomic<int> counter{0};
    return String(prefix) + Widen(std::to_string(::GetCurrentProcessId())) + u"_" +
           Widen(std::to_string(++counter));
}

void DeleteTree(const String& folder) {
    WIN32_FIND_DATAW entry;
    HANDLE find = ::FindFirstFileW(W(folder + u"*"), &entry);
    if (find != INVALID_HANDLE_VALUE) {
        do {
            const String name = FromW(entry.cFileName);
            if (name == u"." || name == u"..")
                continue;
            if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                DeleteTree(folder + name + u"\\");
            else
                ::DeleteFileW(W(folder + name));
        } while (::FindNextFileW(find, &entry));
        ::FindClose(find);
    }
    ::RemoveDirectoryW(W(folder));
}

} // namespace

String StageFolder() {
    wchar_t buffer[1024];
    DWORD n = ::GetEnvironmentVariableW(L"WAVEMILL_STAGE", buffer, 1024);
    if (n == 0 || n >= 1024)
        return String();
    String folder = FromW(buffer);
    for (char16_t& c : folder)
        if (c == u'/')
            c = u'\\';
    if (folder.back() != u'\\')
        folder += u'\\';
    return folder;
}

String StagedPlugin(StringView kind, StringView file) {
    return StageFolder() + String(kind) + u"\\" + String(file);
}

PluginTestFolder::PluginTestFolder() {
    wchar_t temp[MAX_PATH + 1];
    ::GetTempPathW(MAX_PATH + 1, temp);
    path_ = FromW(temp) + Unique(u"wm_plugins_") + u"\\";
    ::CreateDirectoryW(W(path_), nullptr);
}

PluginTestFolder::~PluginTestFolder() {
    DeleteTree(path_);
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
