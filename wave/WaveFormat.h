// One wave format record (the plain 18-byte form or the 40-byte extensible form, plus any
// extra bytes), kept consistent and described as one line of text.
#pragma once

#include "sdk/wavemill_plugin.h"
#include "text/String.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace wm {

class WaveFormat {
  public:
    using Guid = std::array<uint8_t, 16>;

    static constexpr size_t kPlainSize = 18;
    static constexpr size_t kExtensibleSize = 40;
    static constexpr uint16_t kExtensibleExtra = 22;
    static constexpr uint16_t kTagPcm = 1;
    static constexpr uint16_t kTagFloat = 3;
    static constexpr uint16_t kTagExtensible = 0xFFFE;

    // An all-zero plain record.
    WaveFormat();
    explicit WaveFormat(const WmWaveFormat& record) : WaveFormat() { Assign(record); }

    // Plain PCM (or IEEE float) with the derived fields computed.
    static WaveFormat Pcm(uint16_t channels, uint32_t samplesPerSec, uint16_t bitsPerSample,
                          bool isFloat = false);
    // The sub-format GUID {0000XXXX-0000-0010-8000-00AA00389B71} for a tag, in memory order.
    static Guid SubFormatGuid(uint16_t tag);

    // Copies 18 + extra size bytes. False (and no change) when size is below 18 or smaller
    // than the extra size says. Assigning the object's own bytes does nothing.
    bool Assign(const void* data, size_t size);
    // The fixed 40-byte record can hold at most 22 extra bytes: a larger extra size is cut to 22.
    void Assign(const WmWaveFormat& record);

    bool IsExtensible() const;
    bool HasSubFormat(const Guid& guid) const;
    // The sub-format's number for a recognised extensible record, else the stored tag.
    uint16_t EffectiveTag() const;
    // Extensible: writes the sub-format for 1, 3, 6, 7 or 2 (others ignored, false).
    // Plain: stores the tag.
    bool SetEffectiveTag(uint16_t tag);

    void SetBitsPerSample(uint16_t bits, bool recompute);
    void SetChannels(uint16_t channels, bool recompute);
    void SetSamplesPerSec(uint32_t rate, bool recompute);
    // Block align from bits and channels, bytes per second from block align and rate.
    void Recompute();
    // Extra size 22 for an extensible record, else 0 (dropping any other extra bytes).
    void NormaliseExtraSize();
    // Extensible with a known sub-format -> plain, keeping any bytes behind the extensible part.
    // A plain record stays as it is (true); an unusable extensible one too (false).
    bool ToPlain();
    // Plain PCM or float -> 40-byte extensible; already extensible: true; other tags: false.
    bool ToExtensible();

    // "Format Tag: 1  Channels: 2  ..." on one line.
    String Describe() const;

    // Whole blocks in ms milliseconds; saturates instead of overflowing.
    uint64_t MsToBytes(uint64_t ms) const;
    // Milliseconds in bytes (a zero byte rate counts as 1); saturates instead of overflowing.
    uint64_t BytesToMs(uint64_t bytes) const;

    uint16_t FormatTag() const { return Get16(0); }
    uint16_t Channels() const { return Get16(2); }
    uint32_t SamplesPerSec() const { return Get32(4); }
    uint32_t AvgBytesPerSec() const { return Get32(8); }
    uint16_t BlockAlign() const { return Get16(12); }
    uint16_t BitsPerSample() const { return Get16(14); }
    uint16_t ExtraSize() const { return Get16(16); }
    // Extensible fields; 0 when the record is not extensible.
    uint16_t ValidBitsPerSample() const { return IsExtensible() ? Get16(18) : 0; }
    uint32_t ChannelMask() const { return IsExtensible() ? Get32(20) : 0; }
    void SetChannelMask(uint32_t mask);

    // The 40-byte form for plug-in records, zero padded; an extra size above 22 is cut to 22.
    WmWaveFormat AsRecord() const;
    const uint8_t* Data() const { return bytes_.data(); }
    size_t Size() const { return bytes_.size(); }

    friend bool operator==(const WaveFormat& a, const WaveFormat& b) {
        return a.bytes_ == b.bytes_;
    }

  private:
    uint16_t Get16(size_t at) const;
    uint32_t Get32(size_t at) const;
    void Put16(size_t at, uint16_t v);
    void Put32(size_t at, uint32_t v);
    // Index of the recognised sub-format, or -1.
    int SubFormatIndex() const;

    // Always 18 + extra size bytes, little-endian.
    std::vector<uint8_t> bytes_;
};

} // namespace wm
