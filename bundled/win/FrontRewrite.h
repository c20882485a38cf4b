// A file's front (its tags) replaced by new bytes: written over the old front when both are
// the same length, else the new front and the rest of the file go into a new file that replaces
// the old one only once it is complete.
#pragma once

#include "bundled/win/Win32File.h"
#include "text/String.h"

#include <cstdint>
#include <vector>

namespace wm::bundled {

// `file` is open for update; it is closed when this returns. Empty on success, else why not.
String ReplaceFront(const char16_t* path, Win32File& file, const std::vector<uint8_t>& front,
                    uint64_t oldFrontLength);

} // namespace wm::bundled
