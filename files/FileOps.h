// Free file-system operations. Each applies the long-path rule first and fails without a
// system call when the path is unusable; failures leave the Win32 last error for the caller's
// message except where noted.
#pragma once

#include "text/String.h"

#include <windows.h>

#include <cstdint>

namespace wm {

class EventHandle;

// 0 and *missing = true when the path does not exist.
DWORD PathAttributes(StringView path, bool* missing = nullptr);
bool FileExists(StringView path);   // exists and is not a folder
bool FolderExists(StringView path); // exists and is a folder
// The last-write time in FILETIME units; false (time 0) when the path cannot be read.
bool PathWriteTime(StringView path, uint64_t& time);
// A read-only file (access denied) has its attributes cleared and is deleted once more.
bool DeleteFilePath(StringView path, bool alreadyRetried = false);
bool MovePath(StringView source, StringView target);
bool MovePathEx(StringView source, StringView target, DWORD flags);
// Retries sharing violations (32) and access denied (5) every 10 ms until limitMs has passed
// (last error then 1460) or the abort event is set (last error 1223).
bool MoveWithRetry(StringView source, StringView target, DWORD flags, uint32_t limitMs,
                   const EventHandle* abort = nullptr);
bool CopyPath(StringView source, StringView target, bool failIfExists);
// Creates the folder and every missing parent; folders that exist already count as made.
bool CreateFolderPath(StringView path);
// Deletes the files matching mask ("*.*" when empty), sub-folders too when recursive, then
// the folder itself when removeSelf and everything else succeeded. Refuses paths under 3 chars.
bool RemoveFolder(StringView path, bool removeSelf, StringView mask = {}, bool recursive = false);
bool SetPathAttributes(StringView path, DWORD attributes);
// Null times are left as they are.
bool SetPathTimes(StringView path, const FILETIME* creation, const FILETIME* lastAccess,
                  const FILETIME* lastWrite);

// 0 when the file cannot be opened for reading (*missing = true then).
uint64_t FileSizeOfPath(StringView path, bool* missing = nullptr);

// "(win:%i)" for log lines and "(Win:%u)" for path messages.
String Win32ErrorText(DWORD error = ::GetLastError());
String Win32ErrorTextU(DWORD error = ::GetLastError());

} // namespace wm
