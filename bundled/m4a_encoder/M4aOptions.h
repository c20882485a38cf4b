// The M4A encoders' own options, named as the native ffmpeg names them: AAC takes -b N
// (constant bit rate in kbps, 8 to 512 per channel pair's worth) and -q N (FFmpeg's variable bit
// rate scale, 0.1 to 2); ALAC takes none (its stream is the source's samples).
#pragma once

#include "text/String.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace wm::bundled {

// Applies the options to the encoder's settings; false, with the reason, for an unknown option
// or a value out of range.
bool ApplyAacOptions(StringView commandLine, AVCodecContext& codec, String& error);
bool ApplyAlacOptions(StringView commandLine, AVCodecContext& codec, String& error);

} // namespace wm::bundled
