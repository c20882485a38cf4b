// The top-level chunk list of a RIFF WAVE or RF64 file, with 64-bit sizes resolved.
#pragma once

#include "bundled/wav/ByteSource.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace wm::wav {

struct RiffChunk {
    std::array<uint8_t, 4> id{};
    std::array<uint8_t, 4> listType{}; // the form type of a LIST chunk ("INFO", "adtl"); zero else
    uint64_t offset = 0;               // of the 8-byte chunk header
    uint64_t size = 0;                 // body bytes actually in the file
    bool truncated = false;            // the stated size ran past the end of the file

    bool Is(const char (&name)[5]) const;
    uint64_t Body() const { return offset + 8; }
};

struct RiffFile {
    std::array<uint8_t, 4> form{}; // "RIFF", "RF64" or "BW64"
    bool rf64 = false;
    uint64_t fileSize = 0;
    std::vector<RiffChunk> chunks;
};

// More chunks than this is no wave file a person made; the walk refuses it.
constexpr size_t kMaxChunks = 1 << 16;

// Lists the chunks after the 12-byte header up to the end of the file. A chunk running past the
// end is kept, cut to what is there, and ends the walk. False (with `error`) for input that is
// no RIFF WAVE / RF64 file, a broken ds64 chunk or too many chunks.
bool WalkRiffChunks(ByteSource& source, RiffFile& file, std::string& error);

} // namespace wm::wav
