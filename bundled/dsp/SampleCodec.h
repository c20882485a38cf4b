// The PCM sample formats the effects handle, and their conversion to and from doubles with full
// scale at 1.0. Integers saturate on the way back; floats pass unclipped.
#pragma once

#include <sdk/wavemill_plugin.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace wm::dsp {

enum class SampleKind { UInt8, Int16, Int24, Int32, Float32, Float64 };

struct PcmLayout {
    SampleKind kind = SampleKind::Int16;
    uint16_t channels = 0;
    uint32_t rate = 0;

    unsigned SampleBytes() const;
    unsigned FrameBytes() const { return SampleBytes() * channels; }
    bool IsFloat() const { return kind == SampleKind::Float32 || kind == SampleKind::Float64; }
    // Significant bits: the integer width, or 24 and 53 for the float mantissas.
    unsigned Precision() const;
};

// Reads the layout of a plain or extensible PCM or IEEE float format; `error` says why another
// one cannot be handled.
bool LayoutOf(const WmWaveFormat& format, PcmLayout& layout, std::u16string& error);

// `base` changed to `layout`: the extensible form and channel mask stay when `base` had them,
// the derived fields are recomputed.
WmWaveFormat WithLayout(const WmWaveFormat& base, const PcmLayout& layout);

void ToDouble(const void* source, SampleKind kind, size_t samples, double* target);

// Integers are rounded to the nearest step and saturate at both ends.
void FromDouble(const double* source, size_t samples, SampleKind kind, void* target);

// How many of the samples FromDouble would saturate in `kind` (none for floats).
size_t CountClipped(const double* samples, size_t count, SampleKind kind);

// The value of one integer step (2^-(bits-1)); 0 for floats.
double StepOf(SampleKind kind);

// Hands the samples of `in` to `use` as doubles, a few thousand at a time and always whole
// frames of `channels`, so that memory stays small and in the cache whatever the block size.
template <typename Use>
void ForEachPiece(const uint8_t* in, SampleKind kind, size_t samples, unsigned channels, Use use) {
    constexpr size_t kMost = 4096;
    double piece[kMost];
    const size_t step = channels < kMost ? kMost / channels * channels : kMost;
    PcmLayout layout;
    layout.kind = kind;
    for (size_t done = 0; done < samples;) {
        const size_t n = samples - done < step ? samples - done : step;
        ToDouble(in + done * layout.SampleBytes(), kind, n, piece);
        use(piece, n, done);
        done += n;
    }
}

// Runs `apply` over the samples of `in` and stores the result as `outKind` in `out`.
template <typename Apply>
void TransformSamples(const uint8_t* in, SampleKind inKind, size_t samples, uint8_t* out,
                      SampleKind outKind, Apply apply) {
    PcmLayout outLayout;
    outLayout.kind = outKind;
    ForEachPiece(in, inKind, samples, 1, [&](double* piece, size_t n, size_t done) {
        apply(piece, n);
        FromDouble(piece, n, outKind, out + done * outLayout.SampleBytes());
    });
}

} // namespace wm::dsp
