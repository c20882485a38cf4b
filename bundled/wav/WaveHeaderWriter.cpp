#include "bundled/wav/WaveHeaderWriter.h"

#include "bundled/wav/WaveFormatRules.h"
#include "endian/LittleEndian.h"

#include <bit>
#include <cstring>

namespace wm::wav {

namespace {

constexpr size_t kDs64BodySize = 28;

void PutId(uint8_t* p, const char (&id)[5]) {
    std::memcpy(p, id, 4);
}

} // namespace

bool WaveHeaderWriter::Init(const WmWaveFormat& source, WaveError& error) {
    WmWaveFormat f = source;
    if (!NormaliseWaveFormat(f, error))
        return false;
    const bool wasExtensible = f.formatTag == WM_FORMAT_EXTENSIBLE;
    const SampleKind kind = KindOf(f);
    if (f.channels > 2 || f.bitsPerSample > 16) {
        if (!wasExtensible || std::popcount(f.channelMask) != f.channels)
            f.channelMask = StandardChannelMask(f.channels);
        if (!wasExtensible)
            f.validBitsPerSample = f.bitsPerSample;
        f.formatTag = WM_FORMAT_EXTENSIBLE;
        f.cbSize = 22;
        std::memcpy(f.subFormat, kind == SampleKind::Float ? kSubFormatFloat : kSubFormatPcm, 16);
    } else {
        f.formatTag = kind == SampleKind::Float ? WM_FORMAT_IEEE_FLOAT : WM_FORMAT_PCM;
        f.cbSize = 0;
        f.validBitsPerSample = 0;
        f.channelMask = 0;
        std::memset(f.subFormat, 0, sizeof f.subFormat);
    }
    format_ = f;
    return true;
}

size_t WaveHeaderWriter::FmtSize() const {
    // Plain PCM keeps the classic 16-byte body; every other form carries its extra-size word.
    if (format_.formatTag == WM_FORMAT_EXTENSIBLE)
        return 40;
    return format_.formatTag == WM_FORMAT_PCM ? 16 : 18;
}

bool WaveHeaderWriter::NeedsRf64(uint64_t dataLength, uint64_t trailerLength) const {
    const uint64_t limit = UINT32_MAX - (HeaderSize() - 8);
    return dataLength > limit || dataLength + (dataLength & 1) + trailerLength > limit;
}

std::vector<uint8_t> WaveHeaderWriter::Build(uint64_t dataLength, uint64_t trailerLength) const {
    std::vector<uint8_t> h(HeaderSize(), 0);
    uint8_t* p = h.data();
    const uint64_t riffSize = HeaderSize() - 8 + dataLength + (dataLength & 1) + trailerLength;
    const bool rf64 = NeedsRf64(dataLength, trailerLength);

    PutId(p, rf64 ? "RF64" : "RIFF");
    PutLe32(p + 4, rf64 ? UINT32_MAX : static_cast<uint32_t>(riffSize));
    PutId(p + 8, "WAVE");
    PutId(p + 12, rf64 ? "ds64" : "JUNK");
    PutLe32(p + 16, kDs64BodySize);
    if (rf64) {
        PutLe64(p + 20, riffSize);
        PutLe64(p + 28, dataLength);
        PutLe64(p + 36, dataLength / format_.blockAlign);
        // Table length at p + 44 stays 0.
    }

    uint8_t* fmt = p + 20 + kDs64BodySize;
    PutId(fmt, "fmt ");
    PutLe32(fmt + 4, static_cast<uint32_t>(FmtSize()));
    uint8_t* b = fmt + 8;
    PutLe16(b, format_.formatTag);
    PutLe16(b + 2, format_.channels);
    PutLe32(b + 4, format_.samplesPerSec);
    PutLe32(b + 8, format_.avgBytesPerSec);
    PutLe16(b + 12, format_.blockAlign);
    PutLe16(b + 14, format_.bitsPerSample);
    if (FmtSize() > 16)
        PutLe16(b + 16, format_.cbSize);
    if (format_.formatTag == WM_FORMAT_EXTENSIBLE) {
        PutLe16(b + 18, format_.validBitsPerSample);
        PutLe32(b + 20, format_.channelMask);
        std::memcpy(b + 24, format_.subFormat, 16);
    }

    uint8_t* data = b + FmtSize();
    PutId(data, "data");
    PutLe32(data + 4, rf64 ? UINT32_MAX : static_cast<uint32_t>(dataLength));
    return h;
}

} // namespace wm::wav
