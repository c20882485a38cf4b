#include "files/Folders.h"

#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/PathText.h"
#include "files/SystemPath.h"
#include "process/Registry.h"
#include "process/WinString.h"
#include "random/Random.h"

#include <objbase.h>
#include <shlobj.h>

#include <string>
#include <vector>

namespace wm {

// ---- FolderWalk ----

void FolderWalk::Start(StringView folder, StringView mask, bool foldersOnly) {
    Close();
    pattern_ = EnsureTrailingSeparator(folder) + String(mask.empty() ? StringView(u"*.*") : mask);
    folder_ = FolderPart(pattern_);
    foldersOnly_ = foldersOnly;
    started_ = false;
    path_.clear();
}

bool FolderWalk::Next() {
    for (;;) {
        if (!started_) {
            started_ = true;
            String systemPattern;
            if (!SystemPathForm(pattern_, kOtherPathLimit, systemPattern))
                return false;
            find_.reset(::FindFirstFileW(W(systemPattern), &entry_));
            if (!find_)
                return false;
        } else if (!find_ || !::FindNextFileW(find_.get(), &entry_)) {
            Close();
            path_.clear();
            return false;
        }
        String name = Name();
        if (name == u"." || name == u"..")
            continue;
        if (foldersOnly_ && !IsFolder())
            continue;
        path_ = folder_ + name;
        return true;
    }
}

void FolderWalk::Close() {
    find_.reset();
}

String FolderWalk::Name() const {
    return FromW(entry_.cFileName);
}

// ---- Special folders ----

namespace {

using FolderCall = UINT(WINAPI*)(LPWSTR, UINT);

String FromSystemCall(FolderCall call) {
    wchar_t buffer[MAX_PATH + 1] = {};
    UINT n = call(buffer, MAX_PATH);
    return n > 0 && n <= MAX_PATH ? FromW(buffer, n) : String();
}

String ProgramFilesValue(const char16_t* name) {
    return RegReadString(name, HKEY_LOCAL_MACHINE, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion");
}

String FromShell(int id) {
    LPITEMIDLIST items = nullptr;
    if (FAILED(::SHGetSpecialFolderLocation(nullptr, id, &items)) || !items)
        return String();
    wchar_t buffer[MAX_PATH + 1] = {};
    String result;
    if (::SHGetPathFromIDListW(items, buffer))
        result = FromW(buffer);
    ::CoTaskMemFree(items);
    return result;
}

String TempPathRaw() {
    wchar_t buffer[MAX_PATH + 1] = {};
    DWORD n = ::GetTempPathW(MAX_PATH, buffer);
    return n > 0 && n <= MAX_PATH ? FromW(buffer, n) : String();
}

String SystemFolderSource(int id) {
    switch (id) {
    case kFolderProgramFiles:
        return ProgramFilesValue(u"ProgramFilesDir");
    case kFolderWindows:
        return FromSystemCall(&::GetWindowsDirectoryW);
    case kFolderSystem:
        return FromSystemCall(&::GetSystemDirectoryW);
    case kFolderTemp:
        return TempPathRaw();
    case kFolderProgramFilesNative: {
        String native = ProgramFilesValue(u"ProgramW6432Dir");
        return native.empty() ? ProgramFilesValue(u"ProgramFilesDir") : native;
    }
    default:
        return FromShell(id);
    }
}

String Decimal(uint32_t n) {
    std::string text = std::to_string(n);
    return String(text.begin(), text.end());
}

bool CreateEmpty(const String& name) {
    FileAccess file;
    return file.Open(name, GENERIC_WRITE, CREATE_ALWAYS, false, true, FILE_ATTRIBUTE_NORMAL);
}

} // namespace

String SpecialFolder(int id, StringView fallback) {
    return ResolveSpecialFolder(id, fallback, &SystemFolderSource);
}

String DriveTypeName(char16_t driveLetter) {
    String root = String(1, driveLetter) + u":\\";
    return DriveTypeText(::GetDriveTypeW(W(root)));
}

String VolumeLabel(StringView driveRoot) {
    String root = EnsureTrailingSeparator(driveRoot);
    char16_t letter = FoldCase(root[0]);
    if ((letter == u'A' || letter == u'B') && ::GetDriveTypeW(W(root)) == DRIVE_REMOVABLE)
        return String();
    UINT previous = ::SetErrorMode(SEM_FAILCRITICALERRORS);
    wchar_t name[MAX_PATH + 1] = {};
    BOOL ok =
        ::GetVolumeInformationW(W(root), name, MAX_PATH, nullptr, nullptr, nullptr, nullptr, 0);
    ::SetErrorMode(previous);
    return ok ? FromW(name) : String();
}

uint64_t FreeSpace(StringView path) {
    String p(path);
    ULARGE_INTEGER available{};
    return ::GetDiskFreeSpaceExW(W(p), &available, nullptr, nullptr) ? available.QuadPart : 0;
}

StringList LogicalDrives() {
    StringList drives;
    DWORD mask = ::GetLogicalDrives();
    for (int i = 0; i < 26; ++i)
        if (mask & (1u << i))
            drives.push_back(String(1, static_cast<char16_t>(u'A' + i)) + u":\\");
    return drives;
}

// ---- Program and temporary files ----

String ProgramFolder() {
    std::vector<wchar_t> buffer(MAX_PATH);
    for (;;) {
        DWORD n = ::GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (n == 0)
            return String();
        if (n < buffer.size())
            return FolderPart(FromW(buffer.data(), n));
        buffer.resize(buffer.size() * 2);
    }
}

String TempFolder() {
    String folder = TempPathRaw();
    if (folder.empty())
        folder = u"C:\\Temp";
    return EnsureTrailingSeparator(folder);
}

String TempFile(StringView folder, StringView extension, StringView prefix) {
    String dir = folder.empty() ? TempFolder() : String(folder);
    String pre(prefix);
    String name;
    wchar_t buffer[MAX_PATH + 1] = {};
    if (::GetTempFileNameW(W(dir), W(pre), 0, buffer) && buffer[0])
        name = FromW(buffer);
    if (name.empty()) {
        // The generator takes its own lock, shared with all other temporary numbering.
        name = EnsureTrailingSeparator(dir) + pre + Decimal(RandomTempNumber()) + u".tmp";
    }
    if (!extension.empty()) {
        DeleteFilePath(name);
        name += String(extension);
    }
    if (!CreateEmpty(name) && !(CreateFolderPath(dir) && CreateEmpty(name)))
        return String();
    return name;
}

String NewGuidText() {
    GUID guid{};
    if (FAILED(::CoCreateGuid(&guid)))
        return String();
    wchar_t text[64] = {};
    int n = ::StringFromGUID2(guid, text, 64);
    return n > 1 ? FromW(text, n - 1) : String();
}

String ShortPath(StringView path) {
    String systemPath;
    if (!SystemPathForm(path, kOtherPathLimit, systemPath))
        return String(path);
    wchar_t buffer[1000] = {};
    DWORD n = ::GetShortPathNameW(W(systemPath), buffer, 1000);
    if (n == 0 || n >= 1000)
        return String(path);
    return FromW(buffer, n);
}

} // namespace wm
