// A cue sheet's bytes to text. Ripping programs wrote sheets in UTF-8 (with or without a
// byte-order mark), in UTF-16 with a mark, or in the ANSI code page of the ripping machine; the
// last are told apart by their bytes (see DetectCueEncoding). Portable: the legacy code pages
// are decoded by a function the platform hands in.
#pragma once

#include "bundled/cue/CueSheet.h"

#include <cstdint>
#include <string_view>

namespace wm::cue {

enum class CueEncoding { kUtf8, kUtf16Le, kUtf16Be, kShiftJis, kWindows1251, kWindows1252 };

// A byte-order mark decides. Otherwise bytes that are valid UTF-8 are UTF-8; text whose bytes
// above 0x7F are all pairs of Shift-JIS, most of them led by 0x81-0x9F (kana and common kanji),
// is Shift-JIS; text whose letters above 0x7F stand mostly next to one another (Cyrillic words)
// is Windows-1251; anything else is Windows-1252. bomSize receives the mark's length.
CueEncoding DetectCueEncoding(std::string_view bytes, size_t& bomSize);

// "UTF-8", "Shift-JIS", "Windows-1251"...
const char16_t* EncodingName(CueEncoding encoding);

// The Windows code page of a legacy encoding (932, 1251, 1252); 0 for the Unicode forms.
uint32_t CodePageOf(CueEncoding encoding);

// Decodes bytes of a Windows code page; false when they are not valid in it.
using LegacyDecoder = bool (*)(uint32_t codePage, std::string_view bytes, String& text);

// The sheet's text, or false with a reason: bytes its encoding rejects, or control characters
// (binary data) on a line.
bool DecodeCueBytes(std::string_view bytes, LegacyDecoder legacy, String& text,
                    CueEncoding& encoding, CueError& error);

} // namespace wm::cue
