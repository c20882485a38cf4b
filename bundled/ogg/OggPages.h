// What the Ogg pages of a file say before a codec library reads it: which codec the stream
// holds, and whether the file ends with the stream's whole last page. Portable: it reads any
// byte source, so the host's tests and fuzzers walk the same pages.
#pragma once

#include "bundled/wav/ByteSource.h"
#include "text/String.h"

namespace wm::bundled {

// The codec of the first stream ("Vorbis", "Opus", "FLAC", "Theora", "Speex"), "unknown" for an
// Ogg stream of another kind, and empty when the file does not start with an Ogg page.
String OggStreamKind(wav::ByteSource& file);

// True when the last page is whole and marks the end of the stream: a file cut short (or whose
// last page is damaged) fails this, though the pages before it decode.
bool OggEndsWhole(wav::ByteSource& file);

// The reason a decoder for `wanted` gives for a file its library refused.
String NotOggOf(wav::ByteSource& file, const char16_t* wanted);

} // namespace wm::bundled
