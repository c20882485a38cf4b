// The nine encoder entry points, exported by their plain C names.
#include "bundled/flac_encoder/FlacEncoder.h"

#include <new>
#include <type_traits>

WM_ENCODER_EXPORTS(wm::bundled::FlacEncoder);
