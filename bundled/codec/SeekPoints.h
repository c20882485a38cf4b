// A FLAC seek table gathered while encoding, written at the end into a block reserved for it
// (the stream's length is not known when the metadata goes out first). Points the stream did
// not need stay as placeholders, so the padding that follows is exactly what was asked for.
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
    // Length of the padding block to reserve up front so that the table and `padding` bytes of
    // padding after it fill it exactly (no padding block at all when `padding` is 0); without a
    // table, `padding` itself.
    uint32_t ReservedLength(uint32_t padding) const;
    // The reserved block, header included, rewritten as a SEEKTABLE block of `capacity` points
    // (placeholders after the real ones) followed by `padding` bytes of padding, the last
    // metadata block.
    std::vector<uint8_t> Patch(uint32_t padding) const;

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
