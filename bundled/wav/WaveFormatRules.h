// Which wave formats the bundled plug-ins read and write, and the derived fields they agree on.
#pragma once

#include "bundled/wav/WaveError.h"

#include <sdk/wavemill_plugin.h>

#include <cstdint>
#include <string>

namespace wm::wav {

enum class SampleKind { Pcm, Float };

// KSDATAFORMAT_SUBTYPE_PCM and KSDATAFORMAT_SUBTYPE_IEEE_FLOAT as stored in the record.
extern const uint8_t kSubFormatPcm[16];
extern const uint8_t kSubFormatFloat[16];

// Accepts integer PCM of 8, 16, 24 or 32 bits and IEEE float of 32 or 64 bits, plain or
// extensible, with any non-zero channel count and rate and a block align that matches.
// On success the record is tidied: average bytes per second recomputed, extra size 22 for the
// extensible form (valid bits filled in when zero) and 0 with a zeroed tail otherwise.
bool NormaliseWaveFormat(WmWaveFormat& format, WaveError& error);

// For a normalised record.
SampleKind KindOf(const WmWaveFormat& format);

// True when two normalised records describe the same sample bytes (plain or extensible alike).
bool SameSampleLayout(const WmWaveFormat& a, const WmWaveFormat& b);

// The usual speaker layout for 1 to 8 channels (mono is front centre); 0 for more.
uint32_t StandardChannelMask(uint16_t channels);

// bytes x 1000 / bytesPerSecond without overflow; a rate of 0 counts as 1.
uint64_t BytesToMs(uint64_t bytes, uint32_t bytesPerSecond);
// bytesPerSecond x ms / 1000, rounded down to whole frames of `blockAlign` bytes.
uint64_t MsToBytes(uint64_t ms, uint32_t bytesPerSecond, uint16_t blockAlign);

// A plain, normalised record (tag 1 or 3); no validation.
WmWaveFormat MakeWaveFormat(SampleKind kind, uint16_t channels, uint32_t rate, uint16_t bits);

} // namespace wm::wav
