// The nine encoder entry points, exported by their plain C names.
#include "bundled/wav_encoder/WavEncoder.h"

#include <new>
#include <type_traits>

WM_ENCODER_EXPORTS(wm::bundled::WavEncoder);
