// The Vorbis encoder's own options, named after the reference tool's: -q N (quality, -1 to 10,
// fractions allowed; default 3) and -b N (average bit rate in kbps).
#pragma once

#include "text/String.h"

namespace wm::bundled {

struct VorbisOptions {
    double quality = 3;
    double bitrateKbps = 0; // non-zero: encode to this average instead of a quality
};

// False, with the reason, for an unknown option or a value out of range. Whether libvorbis has a
// setting for the bit rate at the source's rate and channels is checked by the encoder.
bool ParseVorbisOptions(StringView commandLine, VorbisOptions& options, String& error);

} // namespace wm::bundled
