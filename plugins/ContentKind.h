// What an audio file really is, from its first bytes: for the information line of a file read
// by another decoder than its extension chose. Portable.
#pragma once

#include "text/String.h"

#include <cstddef>
#include <cstdint>

namespace wm {

// The first bytes a caller should read for ContentKind.
constexpr size_t kContentProbeBytes = 4096;

// "a FLAC file", "an MP3 file", "an AAC (ADTS) file", "an MP4 (M4A) file", "a WAV file"...;
// empty when the bytes are none of the kinds known here. ID3v2 tags in front are skipped.
String ContentKind(const uint8_t* bytes, size_t size);

} // namespace wm
