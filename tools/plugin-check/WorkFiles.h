// The files the checks make and look at: work folders under the temporary folder, whole-file
// reads and writes, and whether a plug-in still holds a file open.
#pragma once

#include "text/String.h"

#include <cstdint>
#include <vector>

namespace wm::check {

// A new empty folder under the system's temporary folder, ending in "\".
String NewWorkFolder(const char* name);
void RemoveWorkFolders();
bool WriteFileBytes(const String& path, const void* data, size_t size);
bool ReadFileBytes(const String& path, std::vector<uint8_t>& data);
bool FileIsClosed(const String& path); // true when it can be opened with no sharing at all
std::vector<String> FilesIn(const String& folder);

} // namespace wm::check
