// A FLAC seek table gathered while encoding: the frame holding every tenth second, written at
// the end into room that the padding block kept for it (the stream's length is not known when
// the metadata goes out first).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace wm::codec {

class SeekPoints {
  public:
    // Points `spacing` samples apart, at most `capacity` of them in the table.
    void Start(uint64_t spacing, size_t capacity);
    // A frame of `samples` samples starting `offset` bytes after the first frame.
    void AddFrame(uint64_t offset, uint32_t samples);
    // The padding block at the start of `block` (header and `length` bytes) rewritten as a
    // SEEKTABLE block followed by a smaller padding block, the last metadata block; empty when
    // the table does not fit.
    std::vector<uint8_t> Patch(uint32_t paddingLength) const;

  private:
    struct Point {
        uint64_t sample;
        uint64_t offset;
        uint32_t samples;
    };
    uint64_t spacing_ = 0;
    size_t capacity_ = 0;
    uint64_t nextTarget_ = 0;
    uint64_t sample_ = 0;
    std::vector<Point> points_;
};

} // namespace wm::codec
