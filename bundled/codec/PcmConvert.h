// Integer PCM between wave bytes and the 32-bit samples the codec libraries work with.
#pragma once

#include <sdk/wavemill_plugin.h>

#include <cstddef>
#include <cstdint>

namespace wm::codec {

struct PcmLayout {
    uint16_t channels = 0;
    uint16_t containerBytes = 0; // 1 to 4 bytes a sample
    uint16_t validBits = 0;      // significant bits, left-justified in the container
};

// The layout of an integer PCM record (plain or extensible); false for float or odd records.
bool PcmLayoutOf(const WmWaveFormat& format, PcmLayout& layout);

// Interleaved frames to interleaved samples holding `validBits` significant bits (8-bit wave
// samples are unsigned; the result is signed).
void UnpackPcm(const uint8_t* source, size_t frames, const PcmLayout& layout, int32_t* samples);

// One array per channel (libFLAC's form) to interleaved wave bytes.
void PackPlanar(const int32_t* const* channels, size_t frames, const PcmLayout& layout,
                uint8_t* target);

// The record for integer samples of `bits` (1 to 32) in whole-byte containers: plain for 8 and
// 16 bits up to two channels, extensible (valid bits, speaker mask) otherwise.
WmWaveFormat PcmFormat(uint16_t channels, uint32_t rate, uint16_t bits);

} // namespace wm::codec
