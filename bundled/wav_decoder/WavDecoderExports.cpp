// The nine decoder entry points, exported by their plain C names. Tags are rewritten whole
// through "Set" with "IDTags"; single tags are not deleted.
#include "bundled/wav_decoder/WavDecoder.h"

#include <new>
#include <type_traits>

WM_DECODER_EXPORTS(wm::bundled::WavDecoder);
