// Byte strings of the tag formats turned into wide text and back.
#pragma once

#include "text/String.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace wm::wav {

// Strict UTF-8: no overlong forms, surrogates or code points past U+10FFFF.
bool IsValidUtf8(const uint8_t* p, size_t n);
String FromLatin1(const uint8_t* p, size_t n);
// UTF-8 when the bytes are valid UTF-8, else Latin-1 (older writers use the ANSI code page).
String FromUtf8OrLatin1(const uint8_t* p, size_t n);
// UTF-16 code units; `bigEndian` picks the byte order. An odd last byte is ignored.
String FromUtf16(const uint8_t* p, size_t n, bool bigEndian);

} // namespace wm::wav
