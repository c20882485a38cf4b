#include "wave/WaveFormat.h"

#include "endian/LittleEndian.h"
#include "text/NumberText.h"

#include <cstring>
#include <iterator>
#include <limits>

namespace wm {

namespace {

// The tags whose sub-format GUIDs are recognised, in the order they are looked for.
constexpr uint16_t kKnownSubFormats[] = {1, 3, 6, 7, 2, 80};

// Offsets inside the record.
constexpr size_t kExtraSizeAt = 16;
constexpr size_t kValidBitsAt = 18;
constexpr size_t kChannelMaskAt = 20;
constexpr size_t kSubFormatAt = 24;

uint64_t Saturate(unsigned __int128 v) {
    constexpr uint64_t max = std::numeric_limits<uint64_t>::max();
    return v > max ? max : static_cast<uint64_t>(v);
}

} // namespace

WaveFormat::WaveFormat() : bytes_(kPlainSize, 0) {}

WaveFormat WaveFormat::Pcm(uint16_t channels, uint32_t samplesPerSec, uint16_t bitsPerSample,
                           bool isFloat) {
    WaveFormat f;
    f.Put16(0, isFloat ? kTagFloat : kTagPcm);
    f.Put16(2, channels);
    f.Put32(4, samplesPerSec);
    f.Put16(14, bitsPerSample);
    f.Recompute();
    return f;
}

WaveFormat::Guid WaveFormat::SubFormatGuid(uint16_t tag) {
    // {0000XXXX-0000-0010-8000-00AA00389B71}: the tag is the low half of the first field.
    Guid guid = {0, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    guid[0] = static_cast<uint8_t>(tag & 0xFF);
    guid[1] = static_cast<uint8_t>(tag >> 8);
    return guid;
}

bool WaveFormat::Assign(const void* data, size_t size) {
    if (data == bytes_.data())
        return true;
    if (data == nullptr || size < kPlainSize)
        return false;
    const auto* p = static_cast<const uint8_t*>(data);
    const size_t total = kPlainSize + Le16(p + kExtraSizeAt);
    if (size < total)
        return false;
    bytes_.assign(p, p + total);
    return true;
}

void WaveFormat::Assign(const WmWaveFormat& record) {
    const auto* p = reinterpret_cast<const uint8_t*>(&record);
    if (p == bytes_.data())
        return;
    const size_t extra = record.cbSize > kExtensibleExtra ? kExtensibleExtra : record.cbSize;
    bytes_.assign(p, p + kPlainSize + extra);
    Put16(kExtraSizeAt, static_cast<uint16_t>(extra));
}

bool WaveFormat::IsExtensible() const {
    return FormatTag() == kTagExtensible && ExtraSize() >= kExtensibleExtra;
}

bool WaveFormat::HasSubFormat(const Guid& guid) const {
    return IsExtensible() && std::memcmp(bytes_.data() + kSubFormatAt, guid.data(), 16) == 0;
}

int WaveFormat::SubFormatIndex() const {
    for (int i = 0; i < static_cast<int>(std::size(kKnownSubFormats)); ++i)
        if (HasSubFormat(SubFormatGuid(kKnownSubFormats[i])))
            return i;
    return -1;
}

uint16_t WaveFormat::EffectiveTag() const {
    const int index = SubFormatIndex();
    return index >= 0 ? kKnownSubFormats[index] : FormatTag();
}

bool WaveFormat::SetEffectiveTag(uint16_t tag) {
    if (!IsExtensible()) {
        Put16(0, tag);
        return true;
    }
    if (tag != 1 && tag != 3 && tag != 6 && tag != 7 && tag != 2)
        return false;
    const Guid guid = SubFormatGuid(tag);
    std::memcpy(bytes_.data() + kSubFormatAt, guid.data(), guid.size());
    return true;
}

void WaveFormat::SetBitsPerSample(uint16_t bits, bool recompute) {
    const uint16_t tag = EffectiveTag();
    if (IsExtensible() && (tag == kTagPcm || tag == kTagFloat) && bits != BitsPerSample())
        Put16(kValidBitsAt, bits);
    Put16(14, bits);
    if (recompute)
        Recompute();
}

void WaveFormat::SetChannels(uint16_t channels, bool recompute) {
    // The old speaker positions mean nothing for a different channel count.
    if (IsExtensible() && channels != Channels())
        Put32(kChannelMaskAt, 0);
    Put16(2, channels);
    if (recompute)
        Recompute();
}

void WaveFormat::SetSamplesPerSec(uint32_t rate, bool recompute) {
    Put32(4, rate);
    if (recompute)
        Recompute();
}

void WaveFormat::SetChannelMask(uint32_t mask) {
    if (IsExtensible())
        Put32(kChannelMaskAt, mask);
}

void WaveFormat::Recompute() {
    const uint32_t align = uint32_t{BitsPerSample()} * Channels() / 8;
    Put16(12, static_cast<uint16_t>(align));
    Put32(8, static_cast<uint32_t>(uint64_t{BlockAlign()} * SamplesPerSec()));
}

void WaveFormat::NormaliseExtraSize() {
    const uint16_t extra = IsExtensible() ? kExtensibleExtra : 0;
    bytes_.resize(kPlainSize + extra);
    Put16(kExtraSizeAt, extra);
}

bool WaveFormat::ToPlain() {
    if (FormatTag() != kTagExtensible)
        return true;
    if (!IsExtensible() || SubFormatIndex() < 0)
        return false;
    std::vector<uint8_t> plain(bytes_.begin(), bytes_.begin() + kPlainSize);
    plain.insert(plain.end(), bytes_.begin() + kExtensibleSize, bytes_.end());
    const uint16_t tag = EffectiveTag();
    const uint16_t extra = static_cast<uint16_t>(ExtraSize() - kExtensibleExtra);
    bytes_.swap(plain);
    Put16(0, tag);
    Put16(kExtraSizeAt, extra);
    return true;
}

bool WaveFormat::ToExtensible() {
    if (IsExtensible())
        return true;
    const uint16_t tag = FormatTag();
    if (tag != kTagPcm && tag != kTagFloat)
        return false;
    bytes_.resize(kExtensibleSize);
    Put16(0, kTagExtensible);
    Put16(kExtraSizeAt, kExtensibleExtra);
    Put16(kValidBitsAt, BitsPerSample());
    Put32(kChannelMaskAt, 0x80000000u);
    const Guid guid = SubFormatGuid(tag);
    std::memcpy(bytes_.data() + kSubFormatAt, guid.data(), guid.size());
    return true;
}

String WaveFormat::Describe() const {
    String out;
    auto field = [&out](const char16_t* label, int64_t value) {
        out.append(label).append(IntToText(value));
    };
    field(u"Format Tag: ", FormatTag());
    field(u"  Channels: ", Channels());
    field(u"  Bits per Sample: ", BitsPerSample());
    field(u"  Samples Per Second: ", SamplesPerSec());
    field(u"  Bytes Per Second: ", AvgBytesPerSec());
    field(u"  Block Align: ", BlockAlign());
    field(u"  CB Size: ", ExtraSize());
    if (IsExtensible())
        field(u"  Extensible Sub-Format: ", EffectiveTag());
    return out;
}

uint64_t WaveFormat::MsToBytes(uint64_t ms) const {
    uint64_t bytes = Saturate(static_cast<unsigned __int128>(AvgBytesPerSec()) * ms / 1000);
    if (BlockAlign() != 0)
        bytes -= bytes % BlockAlign();
    return bytes;
}

uint64_t WaveFormat::BytesToMs(uint64_t bytes) const {
    const uint32_t rate = AvgBytesPerSec() != 0 ? AvgBytesPerSec() : 1;
    return Saturate(static_cast<unsigned __int128>(bytes) * 1000 / rate);
}

WmWaveFormat WaveFormat::AsRecord() const {
    WmWaveFormat record;
    std::memset(&record, 0, sizeof record);
    const size_t n = bytes_.size() < sizeof record ? bytes_.size() : sizeof record;
    std::memcpy(&record, bytes_.data(), n);
    if (record.cbSize > kExtensibleExtra)
        record.cbSize = kExtensibleExtra;
    return record;
}

uint16_t WaveFormat::Get16(size_t at) const {
    if (at + 2 > bytes_.size())
        return 0;
    return Le16(bytes_.data() + at);
}

uint32_t WaveFormat::Get32(size_t at) const {
    if (at + 4 > bytes_.size())
        return 0;
    return Le32(bytes_.data() + at);
}

void WaveFormat::Put16(size_t at, uint16_t v) {
    if (at + 2 > bytes_.size())
        return;
    PutLe16(bytes_.data() + at, v);
}

void WaveFormat::Put32(size_t at, uint32_t v) {
    if (at + 4 > bytes_.size())
        return;
    PutLe32(bytes_.data() + at, v);
}

} // namespace wm
