// The nine encoder entry points, exported by their plain C names.
#include "bundled/mp3_encoder/Mp3Encoder.h"

#include <new>
#include <type_traits>

WM_ENCODER_EXPORTS(wm::bundled::Mp3Encoder);
