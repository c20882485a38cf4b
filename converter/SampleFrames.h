// Interleaved PCM of any format the encoders take (8-bit unsigned, 16/24/32-bit signed, 32/64-bit
// float) as doubles at full scale 1, for measuring.
#pragma once

#include "sdk/wavemill_plugin.h"

#include <cstddef>
#include <vector>

namespace wm {

// Replaces `out` with the samples of the whole frames in `data`; false for a sample layout it
// does not know (then `out` is empty).
bool ToDoubleSamples(const WmWaveFormat& format, const void* data, size_t bytes,
                     std::vector<double>& out);

} // namespace wm
