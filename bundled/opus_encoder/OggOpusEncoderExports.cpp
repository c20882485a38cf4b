// The nine encoder entry points, exported by their plain C names.
#include "bundled/opus_encoder/OggOpusEncoder.h"

#include <new>
#include <type_traits>

WM_ENCODER_EXPORTS(wm::bundled::OggOpusEncoder);
