// Folder walks, special folders, drives and temporary files.
#pragma once

#include "files/KnownFolderFallbacks.h"
#include "process/UniqueHandle.h"
#include "text/String.h"

#include <windows.h>

#include <cstdint>

namespace wm {

// Iterates one folder; "." and ".." are passed over.
class FolderWalk {
  public:
    FolderWalk() = default;
    ~FolderWalk() { Close(); }
    FolderWalk(const FolderWalk&) = delete;
    FolderWalk& operator=(const FolderWalk&) = delete;

    // mask "*.*" when empty; foldersOnly passes over everything that is not a folder.
    void Start(StringView folder, StringView mask = {}, bool foldersOnly = false);
    // True while an entry was produced.
    bool Next();
    void Close();

    // Folder + the current entry's name.
    const String& Path() const { return path_; }
    String Name() const;
    bool IsFolder() const { return (entry_.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }
    const WIN32_FIND_DATAW& Entry() const { return entry_; }

  private:
    String pattern_;
    String folder_;
    UniqueFindHandle find_;
    bool started_ = false;
    bool foldersOnly_ = false;
    WIN32_FIND_DATAW entry_{};
    String path_;
};

// A CSIDL number or one of the kFolder* identifiers; always ends in "\" (see
// ResolveSpecialFolder for the fallbacks).
String SpecialFolder(int id, StringView fallback = {});
// "Hard Disk", "Network Drive"...; empty for other drive types.
String DriveTypeName(char16_t driveLetter);
// Empty for A: and B: when removable (reading would spin a floppy up).
String VolumeLabel(StringView driveRoot);
// Bytes free to the caller; 0 on failure.
uint64_t FreeSpace(StringView path);
// "A:\", "C:\"... for every drive present.
StringList LogicalDrives();

// The folder of the running program, ending in "\".
String ProgramFolder();
// GetTempPathW, else "C:\Temp", ending in "\".
String TempFolder();
// Creates a fresh empty file in folder (the temporary folder when empty) and returns its name:
// the system's unique ".tmp" name, with extension appended behind it when given (".wav" gives
// "TMP1A2.tmp.wav"). The caller owns and deletes the file. Empty when it cannot be created.
String TempFile(StringView folder = {}, StringView extension = {}, StringView prefix = u"TMP");
// "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" from CoCreateGuid; empty on failure.
String NewGuidText();
// The 8.3 form, or the path unchanged when the system has none.
String ShortPath(StringView path);

} // namespace wm
