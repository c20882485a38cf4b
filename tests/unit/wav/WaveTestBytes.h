// Byte builders for the portable wave tests: RIFF chunks, fmt bodies, ID3v2 frames, and a
// source that claims more bytes than it holds.
#pragma once

#include "bundled/wav/ByteSource.h"
#include "bundled/wav/WaveTags.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace wm::wav::test {

inline Bytes B(const std::string& s) {
    return Bytes(s.begin(), s.end());
}
// A string literal's bytes, embedded NULs included, the terminator not.
template <size_t N> Bytes L(const char (&s)[N]) {
    return Bytes(s, s + N - 1);
}
inline void Add(Bytes& b, const Bytes& more) {
    b.insert(b.end(), more.begin(), more.end());
}
inline bool Contains(const Bytes& hay, const Bytes& needle) {
    return std::search(hay.begin(), hay.end(), needle.begin(), needle.end()) != hay.end();
}
inline Bytes Le16Bytes(uint32_t v) {
    return {uint8_t(v), uint8_t(v >> 8)};
}
inline Bytes Le32Bytes(uint32_t v) {
    return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
}
inline Bytes SynchsafeBytes(uint32_t v) {
    return {uint8_t(v >> 21 & 0x7F), uint8_t(v >> 14 & 0x7F), uint8_t(v >> 7 & 0x7F),
            uint8_t(v & 0x7F)};
}
// A RIFF chunk with its pad byte; `declared` overrides the size field.
inline Bytes Chunk(const std::string& id, const Bytes& body, int64_t declared = -1) {
    Bytes b = B(id);
    Add(b, Le32Bytes(declared < 0 ? uint32_t(body.size()) : uint32_t(declared)));
    Add(b, body);
    if (body.size() % 2)
        b.push_back(0);
    return b;
}
inline Bytes Wave(const Bytes& chunks, const char* form = "RIFF") {
    Bytes b = B(form);
    Add(b, Le32Bytes(uint32_t(chunks.size() + 4)));
    Add(b, L("WAVE"));
    Add(b, chunks);
    return b;
}
inline Bytes FmtBody(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits,
                     uint16_t blockAlign) {
    Bytes b = Le16Bytes(tag);
    Add(b, Le16Bytes(channels));
    Add(b, Le32Bytes(rate));
    Add(b, Le32Bytes(rate * blockAlign));
    Add(b, Le16Bytes(blockAlign));
    Add(b, Le16Bytes(bits));
    return b;
}
inline Bytes PcmFmt(uint16_t channels, uint32_t rate, uint16_t bits) {
    return FmtBody(1, channels, rate, bits, uint16_t(channels * bits / 8));
}
// An ID3v2.3 frame (plain 32-bit size) or 2.4 frame (synchsafe size).
inline Bytes Frame(int version, const std::string& id, const Bytes& body, uint8_t format = 0,
                   int64_t declared = -1) {
    const uint32_t size = declared < 0 ? uint32_t(body.size()) : uint32_t(declared);
    Bytes b = B(id);
    Add(b, version == 3
               ? Bytes{uint8_t(size >> 24), uint8_t(size >> 16), uint8_t(size >> 8), uint8_t(size)}
               : SynchsafeBytes(size));
    Add(b, {0, format});
    Add(b, body);
    return b;
}
inline Bytes Id3(int version, const Bytes& frames, uint8_t flags = 0) {
    Bytes b = B("ID3");
    Add(b, {uint8_t(version), 0, flags});
    Add(b, SynchsafeBytes(uint32_t(frames.size())));
    Add(b, frames);
    return b;
}

// Claims `size` bytes; only the first ones (a header) are real, the rest read as zeros.
class SparseSource final : public ByteSource {
  public:
    SparseSource(Bytes head, uint64_t size) : head_(std::move(head)), size_(size) {}
    uint64_t Size() const override { return size_; }
    size_t Read(uint64_t offset, void* buffer, size_t length) override {
        const size_t n = offset >= size_ ? 0 : size_t(std::min<uint64_t>(length, size_ - offset));
        for (size_t i = 0; i < n; ++i)
            static_cast<uint8_t*>(buffer)[i] = offset + i < head_.size() ? head_[offset + i] : 0;
        return n;
    }

  private:
    Bytes head_;
    uint64_t size_;
};

} // namespace wm::wav::test
