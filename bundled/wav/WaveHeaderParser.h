// Reads the layout of a RIFF WAVE or RF64 file: its format and where its samples are.
#pragma once

#include "bundled/wav/WaveError.h"

#include "bundled/wav/ByteSource.h"

#include <sdk/wavemill_plugin.h>

#include <cstdint>
#include <string>

namespace wm::wav {

struct WaveLayout {
    WmWaveFormat format{};   // normalised (see WaveFormatRules.h)
    uint64_t dataOffset = 0; // first sample byte
    uint64_t dataLength = 0; // whole frames that are actually in the file
    bool rf64 = false;
    // How the header's data size compares with the file; a size never written (0 with the RIFF
    // size ending at the data chunk, or 0xFFFFFFFF) and one past the end are read to the end.
    enum class DataSize { AsStated, NeverWritten, PastEnd } dataSize = DataSize::AsStated;
    uint64_t statedDataLength = 0; // the header's data size, for PastEnd
};

// Walks the chunks after the RIFF header, skipping the unknown ones, until both "fmt " and
// "data" are known. Sizes that run past the end of the input are cut to what is there, so a
// truncated file yields its whole frames, and a data size the writer never filled in (a writer
// that was stopped, or one that streams) reads to the end. On failure `error` says why.
bool ParseWaveHeader(ByteSource& source, WaveLayout& layout, WaveError& error);

} // namespace wm::wav
