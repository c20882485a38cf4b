#include "files/FileOps.h"

#include "files/FileAccess.h"
#include "files/Folders.h"
#include "files/PathText.h"
#include "files/SystemPath.h"
#include "process/EventHandle.h"
#include "process/UniqueHandle.h"
#include "process/WinString.h"

#include <string>
#include <vector>

namespace wm {

namespace {

String ErrorText(const char* format, long long value) {
    std::string text = format + std::to_string(value) + ")";
    return String(text.begin(), text.end());
}

} // namespace

DWORD PathAttributes(StringView path, bool* missing) {
    String p;
    DWORD attributes = INVALID_FILE_ATTRIBUTES;
    if (SystemPathForm(path, kOpenPathLimit, p))
        attributes = ::GetFileAttributesW(W(p));
    bool absent = attributes == INVALID_FILE_ATTRIBUTES;
    if (missing)
        *missing = absent;
    return absent ? 0 : attributes;
}

bool FileExists(StringView path) {
    bool missing = true;
    DWORD attributes = PathAttributes(path, &missing);
    return !missing && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool FolderExists(StringView path) {
    bool missing = true;
    DWORD attributes = PathAttributes(path, &missing);
    return !missing && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool PathWriteTime(StringView path, uint64_t& time) {
    String p;
    WIN32_FILE_ATTRIBUTE_DATA data{};
    time = 0;
    if (!SystemPathForm(path, kOpenPathLimit, p) ||
        !::GetFileAttributesExW(W(p), GetFileExInfoStandard, &data))
        return false;
    time = (static_cast<uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) |
           data.ftLastWriteTime.dwLowDateTime;
    return true;
}

bool DeleteFilePath(StringView path, bool alreadyRetried) {
    String p;
    if (!SystemPathForm(path, kOtherPathLimit, p))
        return false;
    if (::DeleteFileW(W(p)))
        return true;
    if (::GetLastError() != ERROR_ACCESS_DENIED || alreadyRetried)
        return false;
    ::SetFileAttributesW(W(p), FILE_ATTRIBUTE_NORMAL);
    return DeleteFilePath(path, true);
}

bool MovePath(StringView source, StringView target) {
    String s, t;
    if (!SystemPathForm(source, kOtherPathLimit, s) || !SystemPathForm(target, kOtherPathLimit, t))
        return false;
    return ::MoveFileW(W(s), W(t)) != FALSE;
}

bool MovePathEx(StringView source, StringView target, DWORD flags) {
    String s, t;
    if (!SystemPathForm(source, kOtherPathLimit, s) || !SystemPathForm(target, kOtherPathLimit, t))
        return false;
    return ::MoveFileExW(W(s), W(t), flags) != FALSE;
}

bool MoveWithRetry(StringView source, StringView target, DWORD flags, uint32_t limitMs,
                   const EventHandle* abort) {
    DWORD started = ::GetTickCount();
    ::SetLastError(0);
    while (!MovePathEx(source, target, flags)) {
        DWORD error = ::GetLastError();
        if (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED)
            return false;
        if (::GetTickCount() - started > limitMs) {
            ::SetLastError(ERROR_TIMEOUT);
            return false;
        }
        if (abort && abort->IsOpen()) {
            if (abort->Wait(10)) {
                ::SetLastError(ERROR_CANCELLED);
                return false;
            }
        } else {
            ::Sleep(10);
        }
        ::SetLastError(0);
    }
    return true;
}

bool CopyPath(StringView source, StringView target, bool failIfExists) {
    String s, t;
    if (!SystemPathForm(source, kOtherPathLimit, s) || !SystemPathForm(target, kOtherPathLimit, t))
        return false;
    return ::CopyFileW(W(s), W(t), failIfExists ? TRUE : FALSE) != FALSE;
}

bool CreateFolderPath(StringView path) {
    // The folder and its parents, innermost first; created outermost first.
    std::vector<String> chain;
    String current(path);
    while (!current.empty() && IsSeparator(current.back()))
        current.pop_back();
    while (!current.empty()) {
        chain.push_back(current);
        if (!StripToParent(current))
            break;
    }
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        String p;
        if (!SystemPathForm(*it, kOtherPathLimit, p))
            return false;
        if (::CreateDirectoryW(W(p), nullptr))
            continue;
        DWORD error = ::GetLastError();
        // Drive roots and shares refuse creation with other errors than 183; they exist.
        if (error == ERROR_ALREADY_EXISTS || FolderExists(*it))
            continue;
        ::SetLastError(error);
        return false;
    }
    return true;
}

bool RemoveFolder(StringView path, bool removeSelf, StringView mask, bool recursive) {
    if (path.size() < 3)
        return false;
    bool ok = true;
    FolderWalk walk;
    walk.Start(path, mask.empty() ? StringView(u"*.*") : mask, false);
    while (walk.Next()) {
        if (walk.IsFolder()) {
            if (recursive && !RemoveFolder(walk.Path(), true, mask, true))
                ok = false;
        } else if (!DeleteFilePath(walk.Path())) {
            ok = false;
        }
    }
    walk.Close();
    if (removeSelf && ok) {
        String p;
        if (!SystemPathForm(path, kOtherPathLimit, p))
            return false;
        ::SetFileAttributesW(W(p), FILE_ATTRIBUTE_NORMAL);
        ok = ::RemoveDirectoryW(W(p)) != FALSE;
    }
    return ok;
}

bool SetPathAttributes(StringView path, DWORD attributes) {
    String p;
    return SystemPathForm(path, kOtherPathLimit, p) && ::SetFileAttributesW(W(p), attributes);
}

bool SetPathTimes(StringView path, const FILETIME* creation, const FILETIME* lastAccess,
                  const FILETIME* lastWrite) {
    String p;
    if (!SystemPathForm(path, kOtherPathLimit, p))
        return false;
    // Backup semantics lets folders be opened as well.
    UniqueHandle h(::CreateFileW(W(p), FILE_WRITE_ATTRIBUTES,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                 OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return h.valid() && ::SetFileTime(h.get(), creation, lastAccess, lastWrite);
}

uint64_t FileSizeOfPath(StringView path, bool* missing) {
    FileAccess file;
    bool opened = file.OpenRead(path);
    if (missing)
        *missing = !opened;
    return opened ? file.Size() : 0;
}

String Win32ErrorText(DWORD error) {
    return ErrorText("(win:", static_cast<int>(error));
}

String Win32ErrorTextU(DWORD error) {
    return ErrorText("(Win:", error);
}

} // namespace wm
