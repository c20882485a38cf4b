// The nine decoder entry points, exported by their plain C names.
#include "bundled/opus_decoder/OggOpusDecoder.h"

#include <new>
#include <type_traits>

WM_DECODER_EXPORTS(wm::bundled::OggOpusDecoder);
