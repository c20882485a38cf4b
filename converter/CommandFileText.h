// The text of a command file: the parent writes its options as UTF-16 little-endian.
#pragma once

#include "text/String.h"

#include <cstddef>

namespace wm {

// The bytes taken as UTF-16LE, whatever the machine's byte order. An odd trailing byte cannot be
// a whole unit and is ignored; a byte-order mark needs no handling (the tokeniser skips anything
// before the first "-").
String OptionTextOfCommandFile(const void* bytes, size_t size);

} // namespace wm
