// Tag-name comparison and the text rules for tag values.
#pragma once

#include "text/String.h"

namespace wm {

// Tag names fold only the ASCII letters A-Z; every other code unit compares as is
// (unlike file names, which fold Latin-1 as well).
bool TagNameEquals(StringView a, StringView b);
bool TagNameStartsWith(StringView name, StringView prefix);
// Position of needle in text (0-based), or npos.
size_t TagNameFind(StringView text, StringView needle);

// Tags whose values are free text that may hold line breaks, so CR is no value separator there.
bool IsFreeTextTag(StringView name);

// Converts a value between its stored form and single-line text: free-text tags escape their
// line breaks as "{CR}"/"{LF}" (when asked to), other tags show the value separator CR as "; ".
void EscapeTagValue(StringView name, String& value, bool toText, bool escapeLineBreaks);

// Makes a value read from a file or handed to an encoder safe to carry: no control characters
// but line breaks, and those only where they mean something. In multi-line text (comments,
// descriptions, lyrics, cue sheets, logs) a line break stays, as CR LF, CR or LF as found; in
// other free-text tags (a title, an album) it becomes a space; elsewhere it separates values
// (CR), empty values dropped. A tab becomes a space, every other control character is dropped.
void CleanTagValue(StringView name, String& value);

// Turns the typographic spaces into ordinary ones and trims spaces at both ends.
void DropTagSpaces(String& value);

} // namespace wm
