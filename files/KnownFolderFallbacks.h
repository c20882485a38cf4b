// How a special folder is found when the system cannot say: the fallback table, and the names
// folders are offered under. Portable; the system lookups are passed in.
#pragma once

#include "text/String.h"

#include <functional>

namespace wm {

// The program's own identifiers above the shell's CSIDL numbers.
inline constexpr int kFolderProgramFiles = 20480;       // "ProgramFilesDir"
inline constexpr int kFolderWindows = 20481;            // GetWindowsDirectoryW
inline constexpr int kFolderSystem = 20482;             // GetSystemDirectoryW
inline constexpr int kFolderTemp = 20483;               // GetTempPathW
inline constexpr int kFolderProgramFilesNative = 20484; // "ProgramW6432Dir", else the above

// Raw answer of the system for one identifier; empty when it has none.
using FolderSource = std::function<String(int id)>;

// The folder with a trailing "\": the source's answer, else the fallback built from another
// folder, else `fallback` (or "C:\Error" when none is given). A result of "\" alone is empty.
String ResolveSpecialFolder(int id, StringView fallback, const FolderSource& source);

struct NamedFolder {
    const char16_t* name;
    int id;
};
// The folder choices offered by name, in their display order.
inline constexpr NamedFolder kNamedFolders[] = {
    {u"Music", 13},        {u"Pictures", 39},
    {u"Video", 14},        {u"Documents", 5},
    {u"Public Music", 53}, {u"Public Pictures", 54},
    {u"Public Video", 55}, {u"Public Documents", 46},
    {u"Desktop", 16},      {u"[Temporary Folder]", kFolderTemp},
};

// GetDriveType numbers as text; empty for unknown, missing and other types.
String DriveTypeText(unsigned driveType);

} // namespace wm
