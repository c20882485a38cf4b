#include "bundled/wav/RiffChunks.h"

#include "endian/LittleEndian.h"

#include <algorithm>
#include <cstring>

namespace wm::wav {

namespace {

// A ds64 table longer than this is not plausible; the rest is ignored.
constexpr uint32_t kMaxDs64Entries = 64;

} // namespace

bool ReadRiffHeader(ByteSource& source, std::array<uint8_t, 4>& form, bool& rf64,
                    WaveError& error) {
    uint8_t riff[kRiffHeaderSize];
    if (source.Size() < sizeof riff || source.Read(0, riff, sizeof riff) != sizeof riff) {
        error = kWaveTooShort;
        return false;
    }
    rf64 = IsId(riff, "RF64") || IsId(riff, "BW64");
    if (!(IsId(riff, "RIFF") || rf64) || !IsId(riff + 8, "WAVE")) {
        error = kWaveNotRiffWave;
        return false;
    }
    std::memcpy(form.data(), riff, 4);
    return true;
}

uint64_t Ds64::TableSize(uint32_t id, uint64_t size) const {
    for (const auto& [tableId, tableSize] : table)
        if (tableId == id)
            size = tableSize;
    return size;
}

bool ReadDs64(ByteSource& source, uint64_t body, uint64_t bodySize, Ds64& ds64, WaveError& error) {
    uint8_t fixed[28];
    if (bodySize < sizeof fixed || source.Read(body, fixed, sizeof fixed) != sizeof fixed) {
        error = kWaveBadDs64;
        return false;
    }
    ds64.present = true;
    ds64.dataSize = Le64(fixed + 8);
    const uint64_t entries =
        std::min<uint64_t>({Le32(fixed + 24), (bodySize - 28) / 12, kMaxDs64Entries});
    for (uint64_t i = 0; i < entries; ++i) {
        uint8_t entry[12];
        if (source.Read(body + 28 + i * 12, entry, sizeof entry) != sizeof entry)
            break;
        ds64.table.emplace_back(Le32(entry), Le64(entry + 4));
    }
    return true;
}

bool RiffChunk::Is(const char (&name)[5]) const {
    return std::memcmp(id.data(), name, 4) == 0;
}

bool WalkRiffChunks(ByteSource& source, RiffFile& file, WaveError& error) {
    file = RiffFile{};
    file.fileSize = source.Size();
    if (!ReadRiffHeader(source, file.form, file.rf64, error))
        return false;

    Ds64 ds64;
    uint64_t pos = kRiffHeaderSize;
    while (file.fileSize - pos >= 8) {
        if (file.chunks.size() == kMaxChunks) {
            error = kWaveTooManyChunks;
            return false;
        }
        uint8_t header[12] = {};
        const size_t got = source.Read(pos, header, sizeof header);
        if (got < 8) {
            error = kWaveReadFailed;
            return false;
        }
        RiffChunk chunk;
        std::memcpy(chunk.id.data(), header, 4);
        chunk.offset = pos;
        uint64_t size = Le32(header + 4);
        if (file.rf64 && size == kSizeInDs64) {
            if (IsId(header, "data") && ds64.present)
                size = ds64.dataSize;
            size = ds64.TableSize(Le32(header), size);
        }
        const uint64_t available = file.fileSize - chunk.Body();
        chunk.size = std::min(size, available);
        chunk.truncated = size > available;
        if (IsId(header, "LIST") && got == sizeof header && chunk.size >= 4)
            std::memcpy(chunk.listType.data(), header + 8, 4);
        file.chunks.push_back(chunk);

        if (file.rf64 && file.chunks.size() == 1 && chunk.Is("ds64") &&
            !ReadDs64(source, chunk.Body(), chunk.size, ds64, error))
            return false;
        // Chunks are padded to an even length.
        if (chunk.truncated || available - size < (size & 1))
            break;
        pos = chunk.Body() + size + (size & 1);
    }
    return true;
}

} // namespace wm::wav
