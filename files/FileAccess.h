// The file class behind all file input and output.
//
// Paths pass through the long-path rule. With report errors on, a failed open, read or write
// shows a Retry/Cancel box and repeats while the user picks Retry. Safe rewrite writes into a
// uniquely named file beside the target and moves it over the target on commit.
#pragma once

#include "process/UniqueHandle.h"
#include "text/String.h"

#include <windows.h>

#include <cstdint>
#include <string_view>

namespace wm {

class FileAccess {
  public:
    // Seek rules applied before a read or write.
    static constexpr int kFromStart = 0; // offset 0 from the beginning
    static constexpr int kAtEnd = 1;     // offset 0 from the end (append)
    static constexpr int kNoSeek = 2;    // current position

    FileAccess() = default;
    // Closes; an uncommitted safe rewrite deletes its temporary file, leaving the target alone.
    ~FileAccess();
    FileAccess(const FileAccess&) = delete;
    FileAccess& operator=(const FileAccess&) = delete;

    // share: FILE_SHARE_READ | FILE_SHARE_WRITE when true, no sharing when false.
    bool Open(StringView path, DWORD access, DWORD disposition, bool reportErrors = false,
              bool share = true, DWORD flags = FILE_ATTRIBUTE_NORMAL);
    bool Open(const wchar_t* path, DWORD access, DWORD disposition, bool reportErrors = false,
              bool share = true, DWORD flags = FILE_ATTRIBUTE_NORMAL);
    bool Open(const char* utf8Path, DWORD access, DWORD disposition, bool reportErrors = false,
              bool share = true, DWORD flags = FILE_ATTRIBUTE_NORMAL);
    // GENERIC_READ, OPEN_EXISTING, shared, no message boxes.
    bool OpenRead(StringView path);
    // GENERIC_WRITE | GENERIC_READ, CREATE_ALWAYS, shared, no message boxes.
    bool Create(StringView path);
    // Wraps a handle opened elsewhere (a standard handle, say); an unowned one is never closed.
    void Adopt(HANDLE handle, bool owned);

    // The count read. A short read at the end of the file is no failure.
    uint32_t Read(void* buffer, uint32_t count, int origin = kNoSeek, bool* failed = nullptr);
    // Null with count 0 succeeds; true only when all of count was written.
    bool Write(const void* buffer, uint32_t count, int origin = kNoSeek);
    bool Seek(int64_t offset, int origin);
    uint64_t Size(bool* failed = nullptr) const;
    // Grows with zero bytes or cuts at the new size.
    bool SetSize(uint64_t size);
    // Ends the file at the current position.
    bool Truncate();
    bool GetTimes(FILETIME* creation, FILETIME* lastAccess, FILETIME* lastWrite) const;
    bool SetAttributes(DWORD attributes);
    void Close();

    HANDLE Handle() const { return handle_.get(); }
    bool IsOpen() const { return handle_.valid(); }
    const String& Path() const { return path_; }
    bool OpenedHere() const { return openedHere_; }

    // Opens target.p<pid>[.n].rewrite.tmp (n up to 99) for writing; false when all are taken.
    bool OpenSafeRewrite(StringView target);
    // Closes and moves the temporary file over the target (10 tries, 50 ms apart); on failure
    // deletes the temporary file.
    bool CommitRewrite();
    const String& RewriteTarget() const { return rewriteTarget_; }
    // Closes and deletes an uncommitted temporary file; the target stays as it was.
    void AbandonRewrite();
    // Deletes "*.rewrite.tmp" files left in folder by runs that died.
    static bool CleanupRewriteLeftovers(StringView folder);

  private:
    bool TrySeek(int origin);
    bool OpenOnce(DWORD access, DWORD disposition, bool share, DWORD flags);

    String path_;
    UniqueFileHandle handle_;
    bool reportErrors_ = false;
    bool openedHere_ = false;
    bool owned_ = true;
    String rewriteTarget_;
};

bool CleanupRewriteLeftovers(StringView folder);

} // namespace wm
