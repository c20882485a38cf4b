// The top-level chunk list of a RIFF WAVE or RF64 file, with 64-bit sizes resolved; and the
// pieces every reader of a wave file's chunks needs first: the 12-byte RIFF header and, for
// RF64, the ds64 chunk that holds the sizes the 32-bit size fields cannot.
#pragma once

#include "bundled/wav/WaveError.h"

#include "bundled/wav/ByteSource.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace wm::wav {

constexpr uint64_t kRiffHeaderSize = 12;

inline bool IsId(const uint8_t* p, const char (&id)[5]) {
    return std::memcmp(p, id, 4) == 0;
}
// A 32-bit chunk size with this value stands for the 64-bit size in the ds64 chunk.
constexpr uint32_t kSizeInDs64 = 0xFFFFFFFF;

// Reads the RIFF header: true for a "RIFF", "RF64" or "BW64" form of type "WAVE", with the form
// in `form` and `rf64` set for the 64-bit forms. False (with `error`) otherwise.
bool ReadRiffHeader(ByteSource& source, std::array<uint8_t, 4>& form, bool& rf64, WaveError& error);

struct Ds64 {
    bool present = false;
    uint64_t dataSize = 0;
    std::vector<std::pair<uint32_t, uint64_t>> table; // chunk id -> 64-bit size

    // The size the table gives chunk `id` (the last entry naming it), or `size` when none does.
    uint64_t TableSize(uint32_t id, uint64_t size) const;
};

// Reads a ds64 chunk body of `bodySize` bytes (already cut to the file) at `body`. A table
// longer than is plausible is cut short. False (with `error`) when the fixed part is missing.
bool ReadDs64(ByteSource& source, uint64_t body, uint64_t bodySize, Ds64& ds64, WaveError& error);

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
bool WalkRiffChunks(ByteSource& source, RiffFile& file, WaveError& error);

} // namespace wm::wav
