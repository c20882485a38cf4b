#include "files/FileAccess.h"

#include "files/FileOps.h"
#include "files/Folders.h"
#include "files/PathText.h"
#include "files/SafeReplace.h"
#include "files/SystemPath.h"
#include "process/WinString.h"

#include <vector>

namespace wm {

namespace {

constexpr UINT kRetryCancelStyle = MB_RETRYCANCEL | MB_ICONINFORMATION; // 69
constexpr uint32_t kZeroChunk = 65536;

// Only an explicit Retry repeats: without a display the box fails at once (Wine gives -1,
// Windows 0), which must count as Cancel.
bool AskRetry(const String& text, const char16_t* caption, UINT style = kRetryCancelStyle) {
    String title(caption);
    return ::MessageBoxW(nullptr, W(text), W(title), style) == IDRETRY;
}

} // namespace

FileAccess::~FileAccess() {
    AbandonRewrite();
}

void FileAccess::AbandonRewrite() {
    Close();
    if (!rewriteTarget_.empty())
        DeleteFilePath(path_);
    rewriteTarget_.clear();
}

bool FileAccess::OpenOnce(DWORD access, DWORD disposition, bool share, DWORD flags) {
    String systemPath;
    if (!SystemPathForm(path_, kOpenPathLimit, systemPath))
        return false;
    handle_.reset(::CreateFileW(W(systemPath), access,
                                share ? FILE_SHARE_READ | FILE_SHARE_WRITE : 0, nullptr,
                                disposition, flags, nullptr));
    return IsOpen();
}

bool FileAccess::Open(StringView path, DWORD access, DWORD disposition, bool reportErrors,
                      bool share, DWORD flags) {
    String wanted(path); // path may point into path_
    AbandonRewrite();
    path_ = std::move(wanted);
    owned_ = true;
    for (;;) {
        openedHere_ = true;
        handle_.reset();
        reportErrors_ = reportErrors;
        if (OpenOnce(access, disposition, share, flags) || !reportErrors)
            return IsOpen();
        const char16_t* caption =
            (access & GENERIC_WRITE) ? u"File Write Error" : u"File Read Error";
        if (!AskRetry(u"Unable to open '" + path_ + u"'", caption))
            return false;
    }
}

bool FileAccess::Open(const wchar_t* path, DWORD access, DWORD disposition, bool reportErrors,
                      bool share, DWORD flags) {
    return Open(FromW(path), access, disposition, reportErrors, share, flags);
}

bool FileAccess::Open(const char* utf8Path, DWORD access, DWORD disposition, bool reportErrors,
                      bool share, DWORD flags) {
    return Open(Widen(utf8Path ? utf8Path : ""), access, disposition, reportErrors, share, flags);
}

bool FileAccess::OpenRead(StringView path) {
    return Open(path, GENERIC_READ, OPEN_EXISTING, false, true, FILE_ATTRIBUTE_NORMAL);
}

bool FileAccess::Create(StringView path) {
    return Open(path, GENERIC_WRITE | GENERIC_READ, CREATE_ALWAYS, false, true,
                FILE_ATTRIBUTE_NORMAL);
}

void FileAccess::Adopt(HANDLE handle, bool owned) {
    AbandonRewrite();
    path_.clear();
    handle_.reset(handle);
    owned_ = owned;
    reportErrors_ = false;
    openedHere_ = false;
}

bool FileAccess::TrySeek(int origin) {
    return origin == kNoSeek || Seek(0, origin);
}

uint32_t FileAccess::Read(void* buffer, uint32_t count, int origin, bool* failed) {
    for (;;) {
        DWORD got = 0;
        bool bad = !IsOpen() || !TrySeek(origin);
        if (!bad) {
            ::SetLastError(0);
            BOOL ok = ::ReadFile(handle_.get(), buffer, count, &got, nullptr);
            DWORD error = ::GetLastError();
            bad = (!ok || got < count) && error != 0 && error != ERROR_HANDLE_EOF;
        }
        if (failed)
            *failed = bad;
        if (!bad || !reportErrors_)
            return got;
        if (!AskRetry(u"Unable to read from '" + path_ + u"'", u"File Read Error"))
            return got;
    }
}

bool FileAccess::Write(const void* buffer, uint32_t count, int origin) {
    if (!buffer) {
        if (count == 0)
            return true;
        if (reportErrors_)
            AskRetry(u"Error writing a NULL buffer to file", u"File Write Error",
                     MB_ICONINFORMATION);
        return false;
    }
    for (;;) {
        DWORD written = 0;
        bool ok = IsOpen() && TrySeek(origin) &&
                  ::WriteFile(handle_.get(), buffer, count, &written, nullptr);
        if (ok && written != count) {
            ::SetLastError(ERROR_DISK_FULL); // a file takes fewer bytes only when the disk is full
            ok = false;
        }
        if (ok || !reportErrors_)
            return ok;
        if (!AskRetry(u"Unable to write to '" + path_ + u"'", u"File Write Error"))
            return false;
    }
}

bool FileAccess::Seek(int64_t offset, int origin) {
    DWORD method = origin == kFromStart ? FILE_BEGIN : origin == kAtEnd ? FILE_END : FILE_CURRENT;
    LONG high = static_cast<LONG>(offset >> 32);
    ::SetLastError(0);
    DWORD low =
        ::SetFilePointer(handle_.get(), static_cast<LONG>(offset & 0xFFFFFFFF), &high, method);
    return !(low == INVALID_SET_FILE_POINTER && ::GetLastError() != 0);
}

uint64_t FileAccess::Size(bool* failed) const {
    DWORD high = 0;
    ::SetLastError(0);
    DWORD low = ::GetFileSize(handle_.get(), &high);
    bool bad = !IsOpen() || (low == INVALID_FILE_SIZE && ::GetLastError() != 0);
    if (failed)
        *failed = bad;
    return bad ? 0 : (static_cast<uint64_t>(high) << 32) | low;
}

bool FileAccess::SetSize(uint64_t size) {
    bool failed = false;
    uint64_t current = Size(&failed);
    if (failed)
        return false;
    if (size > current) {
        if (!Seek(0, kAtEnd))
            return false;
        std::vector<char> zeros(kZeroChunk, 0);
        for (uint64_t left = size - current; left > 0;) {
            uint32_t chunk = left < kZeroChunk ? static_cast<uint32_t>(left) : kZeroChunk;
            if (!Write(zeros.data(), chunk, kNoSeek))
                return false;
            left -= chunk;
        }
        return true;
    }
    return Seek(static_cast<int64_t>(size), kFromStart) && Truncate();
}

bool FileAccess::Truncate() {
    return IsOpen() && ::SetEndOfFile(handle_.get());
}

bool FileAccess::GetTimes(FILETIME* creation, FILETIME* lastAccess, FILETIME* lastWrite) const {
    return IsOpen() && ::GetFileTime(handle_.get(), creation, lastAccess, lastWrite);
}

bool FileAccess::SetAttributes(DWORD attributes) {
    return !path_.empty() && SetPathAttributes(path_, attributes);
}

void FileAccess::Close() {
    if (!owned_)
        handle_.release(); // a standard handle, say: someone else closes it
    handle_.reset();
    owned_ = true;
}

bool FileAccess::OpenSafeRewrite(StringView target) {
    String wanted(target); // target may point into path_
    String temp = CreateRewriteTemp(wanted, [this](const String& name) {
        return Open(name, GENERIC_WRITE, CREATE_NEW, false, true, FILE_ATTRIBUTE_NORMAL);
    });
    if (temp.empty())
        return false;
    rewriteTarget_ = std::move(wanted);
    return true;
}

bool FileAccess::CommitRewrite() {
    if (rewriteTarget_.empty())
        return false;
    Close();
    String target = std::move(rewriteTarget_);
    rewriteTarget_.clear();
    if (MoveRewriteOver(path_, target))
        return true;
    DWORD error = ::GetLastError();
    DeleteFilePath(path_);
    ::SetLastError(error);
    return false;
}

bool FileAccess::CleanupRewriteLeftovers(StringView folder) {
    return wm::CleanupRewriteLeftovers(folder);
}

bool CleanupRewriteLeftovers(StringView folder) {
    bool ok = true;
    FolderWalk walk;
    walk.Start(folder, kRewriteTempMask, false);
    while (walk.Next())
        if (!walk.IsFolder() && !DeleteFilePath(walk.Path()))
            ok = false;
    return ok;
}

} // namespace wm
