#include "bundled/codec/SeekPoints.h"

namespace wm::codec {

namespace {

constexpr size_t kPointBytes = 18;
constexpr uint8_t kSeekTable = 3, kPadding = 1, kLastBlock = 0x80;
constexpr uint64_t kPlaceholder = ~uint64_t{0};

void PutBe(std::vector<uint8_t>& out, uint64_t v, int bytes) {
    for (int i = bytes - 1; i >= 0; --i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

} // namespace

void SeekPoints::Start(uint64_t spacing, size_t capacity) {
    spacing_ = spacing ? spacing : 1;
    capacity_ = capacity;
    nextTarget_ = sample_ = 0;
    points_.clear();
}

void SeekPoints::AddFrame(uint64_t offset, uint32_t samples) {
    if (capacity_ != 0 && nextTarget_ < sample_ + samples) {
        points_.push_back({sample_, offset, samples});
        while (nextTarget_ < sample_ + samples)
            nextTarget_ += spacing_;
        // A long stream keeps every other point and spaces the rest twice as wide, so the
        // table never outgrows its room.
        if (points_.size() > capacity_) {
            size_t kept = 0;
            for (size_t i = 0; i < points_.size(); i += 2)
                points_[kept++] = points_[i];
            points_.resize(kept);
            spacing_ *= 2;
            nextTarget_ = (sample_ + samples + spacing_ - 1) / spacing_ * spacing_;
        }
    }
    sample_ += samples;
}

uint32_t SeekPoints::ReservedLength(uint32_t padding) const {
    if (capacity_ == 0)
        return padding;
    const uint32_t table = static_cast<uint32_t>(capacity_ * kPointBytes);
    return padding == 0 ? table : table + 4 + padding;
}

std::vector<uint8_t> SeekPoints::Patch(uint32_t padding) const {
    const size_t table = capacity_ * kPointBytes;
    std::vector<uint8_t> out;
    out.reserve(8 + table);
    out.push_back(padding == 0 ? kSeekTable | kLastBlock : kSeekTable);
    PutBe(out, table, 3);
    for (const Point& p : points_) {
        PutBe(out, p.sample, 8);
        PutBe(out, p.offset, 8);
        PutBe(out, p.samples, 2);
    }
    for (size_t i = points_.size(); i < capacity_; ++i) {
        PutBe(out, kPlaceholder, 8);
        PutBe(out, 0, 8);
        PutBe(out, 0, 2);
    }
    if (padding != 0) {
        out.push_back(kPadding | kLastBlock);
        PutBe(out, padding, 3);
    }
    return out;
}

} // namespace wm::codec
