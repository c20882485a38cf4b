// What the Ogg pages of a file say before a codec library reads it: which codecs its streams
// hold, and whether the file ends with the stream's whole last page. Portable: it reads any
// byte source, so the host's tests and fuzzers walk the same pages.
#pragma once

#include "bundled/wav/ByteSource.h"
#include "text/String.h"

#include <vector>

namespace wm::bundled {

// The codecs of the streams the file begins with, in the order of their first pages ("Vorbis",
// "Opus", "FLAC", "Theora", "Speex", "unknown" for another kind): one for plain audio, more
// where a video or a second audio stream is multiplexed beside it. Empty when the file does not
// start with an Ogg page.
std::vector<String> OggStreamKinds(wav::ByteSource& file);

// True when the last page is whole and marks the end of the stream: a file cut short (or whose
// last page is damaged) fails this, though the pages before it decode.
bool OggEndsWhole(wav::ByteSource& file);

// The reason a decoder for `wanted` gives for a file without a stream of that codec.
String NotOggOf(wav::ByteSource& file, const std::vector<String>& kinds, const char16_t* wanted);

} // namespace wm::bundled
