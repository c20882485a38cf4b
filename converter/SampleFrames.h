// Interleaved PCM of any format the encoders take (8-bit unsigned, 16/24/32-bit signed, 32/64-bit
// float) in a form the loudness meter reads without converting each sample to a double: 16-bit,
// 32-bit and float samples as they are, 8-bit and 24-bit widened to 32-bit integers.
#pragma once

#include "sdk/wavemill_plugin.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace wm {

enum class SampleKind { Int16, Int32, Float32, Float64 };

// Whole frames of interleaved samples; full scale is the type's range (1 for floats).
struct MeterSamples {
    SampleKind kind = SampleKind::Int16;
    const void* data = nullptr;
    size_t frames = 0;
};

// Points `out` at the whole frames in `data` (aligned for its samples, as a heap copy is), or
// at `widened` (replaced) when the layout needs widening: the widened values are the same
// fractions of full scale, exactly. False for a sample layout it does not know.
bool ToMeterSamples(const WmWaveFormat& format, const void* data, size_t bytes,
                    std::vector<int32_t>& widened, MeterSamples& out);

// The largest magnitude among the samples of `channels` channels, full scale 1: the value
// libebur128's sample peak gives, without its filter's cost.
double SamplePeak(const MeterSamples& samples, unsigned channels);

} // namespace wm
