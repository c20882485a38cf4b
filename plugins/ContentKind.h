// What an audio file really is, from its first bytes: for the information line of a file read
// by another decoder than its extension chose. Portable.
#pragma once

#include "text/String.h"

#include <cstddef>
#include <cstdint>

namespace wm {

// The first bytes a caller should read for ContentKind.
constexpr size_t kContentProbeBytes = 4096;

// What the first bytes say a file is.
struct FileKind {
    String name;           // "a FLAC file", "an MP3 file", "an AAC (ADTS) file"...; empty: unknown
    StringList extensions; // those files of this kind are usually named with (".flac", ".fla")

    bool Known() const { return !name.empty(); }
    // Whether a file of this kind may well carry the extension (letter case aside).
    bool Fits(StringView extension) const;
};

// ID3v2 tags in front are skipped; unknown when the bytes are none of the kinds known here.
FileKind ContentKind(const uint8_t* bytes, size_t size);

} // namespace wm
