// Replacing a file through a temporary beside it, so that a failure leaves the original intact.
#pragma once

#include "bundled/win/Win32File.h"

#include <string>

namespace wm::bundled {

// Creates a new, empty temporary file in the target's folder and opens it for writing: the
// target's name + ".p<process id>.rewrite.tmp", or + ".p<process id>.<n>.rewrite.tmp" with
// n = 1, 2 ... when that is taken.
bool CreateTempBeside(const std::u16string& target, Win32File& file, std::u16string& tempPath);

// Moves the temporary over the target, replacing it; up to 10 tries 50 ms apart, for a target
// that a virus scanner or indexer holds for a moment.
bool MoveOver(const std::u16string& tempPath, const std::u16string& target);

// Windows refuses to replace a read-only file; Wine replaces it. Asking first keeps the two
// alike and saves the copy.
bool IsReadOnly(const std::u16string& path);

bool DeleteQuietly(const std::u16string& path);

} // namespace wm::bundled
