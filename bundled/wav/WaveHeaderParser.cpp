#include "bundled/wav/WaveHeaderParser.h"

#include "bundled/wav/RiffChunks.h"
#include "bundled/wav/WaveFormatRules.h"
#include "endian/LittleEndian.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace wm::wav {

namespace {

bool ReadExact(ByteSource& source, uint64_t offset, void* buffer, size_t length) {
    return source.Read(offset, buffer, length) == length;
}

bool ReadFmt(ByteSource& source, uint64_t body, uint64_t bodySize, WmWaveFormat& format,
             WaveError& error) {
    if (bodySize < 16) {
        error = kWaveFmtTooSmall;
        return false;
    }
    uint8_t raw[40] = {};
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(bodySize, sizeof raw));
    if (!ReadExact(source, body, raw, wanted)) {
        error = kWaveReadFailed;
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
            error = kWaveExtensibleTooSmall;
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

namespace {

struct HeaderWalk {
    Ds64 ds64;
    uint32_t riffSize = 0;
    bool haveFmt = false;
    bool haveData = false;
};

// A data size of 0 that the RIFF size agrees with (the file ends at the data chunk, or the RIFF
// size is 0 too), or the streaming writers' 0xFFFFFFFF: the header was written before the
// audio and never completed. A real empty data chunk followed by other chunks is left alone.
bool DataSizeNeverWritten(const HeaderWalk& walk, const WaveLayout& layout, uint64_t body,
                          uint64_t bodySize) {
    if (layout.rf64)
        return false;
    return bodySize == kSizeInDs64 || (bodySize == 0 && uint64_t{walk.riffSize} + 8 <= body);
}

void TakeData(const HeaderWalk& walk, uint64_t body, uint64_t& bodySize, uint64_t available,
              WaveLayout& layout) {
    layout.dataOffset = body;
    if (DataSizeNeverWritten(walk, layout, body, bodySize)) {
        layout.dataSize = WaveLayout::DataSize::NeverWritten;
        bodySize = available;
    } else if (bodySize > available) {
        layout.dataSize = WaveLayout::DataSize::PastEnd;
        layout.statedDataLength = bodySize;
    }
    layout.dataLength = std::min(bodySize, available);
}

// Takes what one chunk says about the layout; false (with `error`) when the chunk is broken.
// A data chunk read to the end of the file gets that length in `bodySize`.
bool VisitChunk(ByteSource& source, const uint8_t* header, uint64_t body, uint64_t& bodySize,
                uint64_t available, HeaderWalk& walk, WaveLayout& layout, WaveError& error) {
    if (IsId(header, "ds64") && layout.rf64 && !walk.ds64.present)
        return ReadDs64(source, body, std::min(bodySize, available), walk.ds64, error);
    if (IsId(header, "fmt ") && !walk.haveFmt) {
        walk.haveFmt = true;
        return ReadFmt(source, body, std::min(bodySize, available), layout.format, error);
    }
    if (IsId(header, "data") && !walk.haveData) {
        walk.haveData = true;
        TakeData(walk, body, bodySize, available, layout);
    }
    return true;
}

} // namespace

bool ParseWaveHeader(ByteSource& source, WaveLayout& layout, WaveError& error) {
    layout = WaveLayout{};
    std::array<uint8_t, 4> form;
    if (!ReadRiffHeader(source, form, layout.rf64, error))
        return false;
    const uint64_t size = source.Size();
    HeaderWalk walk;
    uint8_t riffSize[4];
    if (!ReadExact(source, 4, riffSize, sizeof riffSize)) {
        error = kWaveReadFailed;
        return false;
    }
    walk.riffSize = Le32(riffSize);
    // The RIFF size is ignored on purpose: writers often leave it wrong; the file's own end
    // bounds the walk. Its own walk rather than WalkRiffChunks: it stops once fmt and data are
    // known, has no chunk limit, and takes a ds64 chunk wherever it stands.
    uint64_t pos = kRiffHeaderSize;
    while (size - pos >= 8 && !(walk.haveFmt && walk.haveData)) {
        uint8_t header[8];
        if (!ReadExact(source, pos, header, sizeof header)) {
            error = kWaveReadFailed;
            return false;
        }
        const uint64_t body = pos + 8;
        uint64_t bodySize = Le32(header + 4);
        if (layout.rf64 && bodySize == kSizeInDs64)
            bodySize = IsId(header, "data") && walk.ds64.present
                           ? walk.ds64.dataSize
                           : walk.ds64.TableSize(Le32(header), bodySize);
        const uint64_t available = size - body;
        if (!VisitChunk(source, header, body, bodySize, available, walk, layout, error))
            return false;
        // Chunks are padded to an even length; a chunk that runs past the end ends the walk.
        if (bodySize >= available || available - bodySize < (bodySize & 1))
            break;
        pos = body + bodySize + (bodySize & 1);
    }
    if (!walk.haveFmt || !walk.haveData) {
        error = walk.haveFmt ? kWaveNoData : kWaveNoFmt;
        return false;
    }
    layout.dataLength -= layout.dataLength % layout.format.blockAlign;
    return true;
}

} // namespace wm::wav
