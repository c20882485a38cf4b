// The nine decoder entry points, exported by their plain C names.
#include "bundled/ffmpeg_decoder/FfmpegDecoder.h"

#include <new>
#include <type_traits>

WM_DECODER_EXPORTS(wm::bundled::FfmpegDecoder);
