// LIST/INFO: the wave file's own text tags, one short string per four-letter id.
#pragma once

#include "bundled/wav/WaveTags.h"

#include <cstddef>
#include <cstdint>

namespace wm::wav {

// Longest value (UTF-8 bytes) written into INFO; longer ones go into the ID3 tag only, since
// INFO readers expect short strings and a cut value would be wrong.
constexpr size_t kMaxInfoValueBytes = 8 * 1024;

// The tag name an INFO id stands for ("INAM" -> "title"); an unmapped id keeps itself as name.
String InfoIdToName(const uint8_t* id);
// The INFO id a tag name is written under; false for names INFO has no place for. A name that
// is itself an INFO-style id ("IENG") maps to itself.
bool NameToInfoId(StringView name, uint8_t* id);

// Reads the body of a LIST chunk of type INFO (starting with "INFO"). Values are taken up to
// their first NUL, as UTF-8 when valid and Latin-1 otherwise; empty values are skipped. A
// sub-chunk running past the end stops the walk, keeping what was read. The first entry of a
// name wins.
void ReadInfoList(const uint8_t* body, size_t size, WaveTags& tags);

// A complete LIST chunk (header, "INFO", sub-chunks) with the text tags INFO can hold, each
// as NUL-terminated UTF-8 padded to an even length (several values of one tag joined with
// "; "); empty when there are none.
Bytes BuildInfoList(const WaveTags& tags);

} // namespace wm::wav
