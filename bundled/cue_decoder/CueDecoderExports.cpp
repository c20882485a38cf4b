// The nine decoder entry points of decoder\CueDecoder.dll.
#include "bundled/cue_decoder/CueDecoder.h"

#include <new>
#include <type_traits>

WM_DECODER_EXPORTS(wm::bundled::CueDecoder);
