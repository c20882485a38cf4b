#include "tools/plugin-check/WorkFiles.h"

#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/Folders.h"

#include <windows.h>

#include <string>

namespace wm::check {

namespace {

std::vector<String> g_folders;

} // namespace

String NewWorkFolder(const char* name) {
    const String folder = TempFolder() + u"plugin-check-" +
                          Widen(std::to_string(::GetCurrentProcessId())) + u"-" + Widen(name) +
                          u"\\";
    CreateFolderPath(folder);
    // A folder of an earlier process with the same id may still hold files it could not delete.
    RemoveFolder(folder, false);
    g_folders.push_back(folder);
    return folder;
}

void RemoveWorkFolders() {
    for (const String& folder : g_folders)
        RemoveFolder(folder, true);
    g_folders.clear();
}

bool WriteFileBytes(const String& path, const void* data, size_t size) {
    FileAccess file;
    return file.Create(path) && file.Write(data, static_cast<uint32_t>(size));
}

bool ReadFileBytes(const String& path, std::vector<uint8_t>& data) {
    FileAccess file;
    if (!file.OpenRead(path))
        return false;
    bool failed = false;
    data.resize(static_cast<size_t>(file.Size(&failed)));
    return !failed && (data.empty() || file.Read(data.data(), static_cast<uint32_t>(data.size()),
                                                 FileAccess::kNoSeek, &failed) == data.size());
}

bool FileIsClosed(const String& path) {
    FileAccess file;
    if (file.Open(path, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING, false, false))
        return true;
    return ::GetLastError() != ERROR_SHARING_VIOLATION;
}

std::vector<String> FilesIn(const String& folder) {
    std::vector<String> names;
    FolderWalk walk;
    walk.Start(folder);
    while (walk.Next())
        if (!walk.IsFolder())
            names.push_back(walk.Name());
    return names;
}

} // namespace wm::check
