// Builds the header of a wave file whose length is known only at the end.
#pragma once

#include "bundled/wav/WaveError.h"

#include <sdk/wavemill_plugin.h>

#include <cstdint>
#include <string>
#include <vector>

namespace wm::wav {

// The header has the same length whatever the data length, so the final header overwrites the
// placeholder in place: a JUNK chunk reserves room for the ds64 chunk that RF64 needs once the
// file outgrows 32-bit sizes.
class WaveHeaderWriter {
  public:
    // Chooses the written form: extensible for more than two channels or more than 16 bits
    // (keeping a source channel mask that fits the channel count, else the standard one),
    // plain otherwise.
    bool Init(const WmWaveFormat& source, WaveError& error);

    const WmWaveFormat& Format() const { return format_; }
    size_t HeaderSize() const { return 56 + FmtSize() + 8; }
    // Whether `dataLength` bytes of audio (plus the pad byte an odd length needs) and
    // `trailerLength` bytes of chunks after them need RF64.
    bool NeedsRf64(uint64_t dataLength, uint64_t trailerLength = 0) const;
    // The complete header for `dataLength` bytes of audio followed by `trailerLength` bytes of
    // further chunks (tags). The caller writes the pad byte after odd-length data; the sizes
    // here count it.
    std::vector<uint8_t> Build(uint64_t dataLength, uint64_t trailerLength = 0) const;

  private:
    size_t FmtSize() const;

    WmWaveFormat format_{};
};

} // namespace wm::wav
