#include "bundled/wav/WaveHeaderParser.h"

#include "bundled/wav/LittleEndian.h"
#include "bundled/wav/WaveFormatRules.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace wm::wav {

namespace {

constexpr uint32_t kSizeInDs64 = 0xFFFFFFFF;
// A ds64 table longer than this is not plausible; the rest is ignored.
constexpr uint32_t kMaxDs64Entries = 64;

struct Ds64 {
    bool present = false;
    uint64_t dataSize = 0;
    std::vector<std::pair<uint32_t, uint64_t>> table; // chunk id -> 64-bit size
};

bool ReadExact(ByteSource& source, uint64_t offset, void* buffer, size_t length) {
    return source.Read(offset, buffer, length) == length;
}

bool ReadDs64(ByteSource& source, uint64_t body, uint64_t bodySize, Ds64& ds64,
              std::string& error) {
    uint8_t fixed[28];
    if (bodySize < sizeof fixed || !ReadExact(source, body, fixed, sizeof fixed)) {
        error = "truncated ds64 chunk";
        return false;
    }
    ds64.present = true;
    ds64.dataSize = Le64(fixed + 8);
    const uint64_t entries =
        std::min<uint64_t>({Le32(fixed + 24), (bodySize - 28) / 12, kMaxDs64Entries});
    for (uint64_t i = 0; i < entries; ++i) {
        uint8_t entry[12];
        if (!ReadExact(source, body + 28 + i * 12, entry, sizeof entry))
            break;
        ds64.table.emplace_back(Le32(entry), Le64(entry + 4));
    }
    return true;
}

bool ReadFmt(ByteSource& source, uint64_t body, uint64_t bodySize, WmWaveFormat& format,
             std::string& error) {
    if (bodySize < 16) {
        error = "fmt chunk too small";
        return false;
    }
    uint8_t raw[40] = {};
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(bodySize, sizeof raw));
    if (!ReadExact(source, body, raw, wanted)) {
        error = "truncated fmt chunk";
        return false;
    }
    format = WmWaveFormat{};
    format.formatTag = Le16(raw);
    format.channels = Le16(raw + 2);
    format.samplesPerSec = Le32(raw + 4);
    format.avgBytesPerSec = Le32(raw + 8);
    format.blockAlign = Le16(raw + 12);
    format.bitsPerSample = Le16(raw + 14);
    if (format.formatTag == WM_FORMAT_EXTENSIBLE) {
        if (wanted < 40 || Le16(raw + 16) < 22) {
            error = "extensible fmt chunk too small";
            return false;
        }
        format.cbSize = 22;
        format.validBitsPerSample = Le16(raw + 18);
        format.channelMask = Le32(raw + 20);
        std::memcpy(format.subFormat, raw + 24, 16);
    }
    return NormaliseWaveFormat(format, error);
}

} // namespace

bool ParseWaveHeader(ByteSource& source, WaveLayout& layout, std::string& error) {
    layout = WaveLayout{};
    const uint64_t size = source.Size();
    uint8_t riff[12];
    if (size < sizeof riff || !ReadExact(source, 0, riff, sizeof riff)) {
        error = "file too short for a RIFF header";
        return false;
    }
    layout.rf64 = IsId(riff, "RF64") || IsId(riff, "BW64");
    if (!(IsId(riff, "RIFF") || layout.rf64) || !IsId(riff + 8, "WAVE")) {
        error = "not a RIFF WAVE file";
        return false;
    }

    Ds64 ds64;
    bool haveFmt = false;
    bool haveData = false;
    // The RIFF size is ignored on purpose: writers often leave it wrong; the file's own end
    // bounds the walk.
    uint64_t pos = sizeof riff;
    while (size - pos >= 8) {
        uint8_t header[8];
        if (!ReadExact(source, pos, header, sizeof header)) {
            error = "read error in chunk header";
            return false;
        }
        const uint64_t body = pos + 8;
        uint64_t bodySize = Le32(header + 4);
        if (layout.rf64 && bodySize == kSizeInDs64) {
            if (IsId(header, "data") && ds64.present) {
                bodySize = ds64.dataSize;
            } else {
                const uint32_t id = Le32(header);
                for (const auto& [tableId, tableSize] : ds64.table)
                    if (tableId == id)
                        bodySize = tableSize;
            }
        }
        const uint64_t available = size - body;

        if (IsId(header, "ds64") && layout.rf64 && !ds64.present) {
            if (!ReadDs64(source, body, std::min(bodySize, available), ds64, error))
                return false;
        } else if (IsId(header, "fmt ") && !haveFmt) {
            if (!ReadFmt(source, body, std::min(bodySize, available), layout.format, error))
                return false;
            haveFmt = true;
        } else if (IsId(header, "data") && !haveData) {
            haveData = true;
            layout.dataOffset = body;
            layout.dataLength = std::min(bodySize, available);
        }
        if (haveFmt && haveData)
            break;
        // Chunks are padded to an even length; a chunk that runs past the end ends the walk.
        if (bodySize >= available || available - bodySize < (bodySize & 1))
            break;
        pos = body + bodySize + (bodySize & 1);
    }

    if (!haveFmt) {
        error = "no fmt chunk";
        return false;
    }
    if (!haveData) {
        error = "no data chunk";
        return false;
    }
    layout.dataLength -= layout.dataLength % layout.format.blockAlign;
    return true;
}

} // namespace wm::wav
