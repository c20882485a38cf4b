// The nine decoder entry points, exported by their plain C names.
#include "bundled/mp3_decoder/Mp3Decoder.h"

#include <new>
#include <type_traits>

WM_DECODER_EXPORTS(wm::bundled::Mp3Decoder);
