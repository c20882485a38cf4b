// The audio and tags the checks hand to plug-ins, and the audio read back as numbers.
#pragma once

#include "sdk/wavemill_plugin.h"

#include <cstdint>
#include <string>
#include <vector>

namespace wm::check {

// Small generated audio: 16-bit stereo at 44100 Hz, a sine of `ms` milliseconds.
WmWaveFormat CheckFormat();
std::vector<uint8_t> SineAudio(uint32_t ms);
// Integer PCM of 8 to 32 bits or 32/64-bit float, extensible beyond 16 bits or 2 channels, as
// decoders deliver them.
WmWaveFormat MakeFormat(uint16_t channels, uint32_t rate, uint16_t bits, bool isFloat = false);
bool IsFloat(const WmWaveFormat& f);
std::string Describe(const WmWaveFormat& f); // "24-bit 6-channel 96000 Hz"
// A sine on every channel but the low-frequency one of 5.1 and 7.1 layouts, which is silent.
std::vector<uint8_t> SineAudio(const WmWaveFormat& f, uint32_t ms);
// The samples as numbers in -1..1 (integer PCM of 8 to 32 bits, 32/64-bit float); empty for
// others.
std::vector<double> SampleValues(const std::vector<uint8_t>& audio, const WmWaveFormat& f);
// How far b is from a, in dB of a's power over the difference's; infinite when equal. The two
// hold as many values.
double SignalToDifferenceDb(const std::vector<double>& a, const std::vector<double>& b);
// "23 dB", "no difference" for an infinite ratio, "no signal" for none or a ratio of garbage.
std::string DecibelText(double db);
// Block sizes in bytes (whole frames, varied, the way a decoder and a pipe deliver them).
std::vector<uint32_t> BlockSizes(uint32_t total, uint32_t frame);
// The tag block the checks hand to plug-ins: a title, an artist and a small picture.
std::vector<uint8_t> CheckTagBlock();
extern const char16_t kCheckTitle[];

} // namespace wm::check
