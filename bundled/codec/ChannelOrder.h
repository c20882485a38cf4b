// Vorbis and Opus store 3 to 8 channels in the Vorbis order (front left, centre, front right,
// ...); wave files in the speaker-mask order (front left, front right, centre, LFE, ...).
#pragma once

#include "bundled/codec/PcmConvert.h"
#include "text/String.h"

#include <sdk/wavemill_plugin.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace wm::codec {

// The wave channel that Vorbis channel v holds, for v < channels; null when the orders agree.
const uint8_t* VorbisChannelSources(uint16_t channels);

// Interleaved 16-bit frames from the Vorbis order into the wave order, in place.
void VorbisToWaveOrder(int16_t* samples, size_t frames, uint16_t channels);

// Integer or float wave samples as the encoders take them: interleaved float at full scale 1.0
// (integers divided by 2^(bits-1), as the reference encoders read wave files), Vorbis order.
class FloatUnpacker {
  public:
    // False for a record that is neither integer PCM nor float.
    bool Start(const WmWaveFormat& format);
    uint16_t Channels() const { return channels_; }
    uint16_t BlockAlign() const { return blockAlign_; }
    void Unpack(const uint8_t* source, size_t frames, float* target);

  private:
    uint16_t channels_ = 0;
    uint16_t blockAlign_ = 0;
    uint16_t floatBytes_ = 0; // 4 or 8 for float samples, 0 for integers
    PcmLayout layout_;
    float scale_ = 1.0f;
    std::vector<int32_t> integers_;
};

// The Ogg encoders' source: `format` made canonical and `unpacker` ready for it; false with the
// reason when it is not PCM or holds more than the 255 channels an Ogg codec can.
bool StartOggSource(WmWaveFormat& format, FloatUnpacker& unpacker, StringView codec, String& why);

} // namespace wm::codec
