// Byte builders for the portable wave tests: RIFF chunks, fmt bodies, ID3v2 frames, and a
// source that claims more bytes than it holds.
#pragma once

#include "bundled/wav/ByteSource.h"
#include "bundled/wav/WaveTags.h"
#include "endian/LittleEndian.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace wm::wav::test {

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
inline Bytes Le32Bytes(uint32_t v) {
    Bytes b(4);
    PutLe32(b.data(), v);
    return b;
}
inline Bytes SynchsafeBytes(uint32_t v) {
    return {uint8_t(v >> 21 & 0x7F), uint8_t(v >> 14 & 0x7F), uint8_t(v >> 7 & 0x7F),
            uint8_t(v & 0x7F)};
}
// A RIFF chunk with its pad byte; `declared` overrides the size field.
inline Bytes Chunk(const std::string& id, const Bytes& body, int64_t declared = -1) {
    Bytes b(id.begin(), id.end());
    Add(b, Le32Bytes(declared < 0 ? uint32_t(body.size()) : uint32_t(declared)));
    Add(b, body);
    if (body.size() % 2)
        b.push_back(0);
    return b;
}
inline Bytes Wave(const Bytes& chunks) {
    Bytes b = L("RIFF");
    Add(b, Le32Bytes(uint32_t(chunks.size() + 4)));
    Add(b, L("WAVE"));
    Add(b, chunks);
    return b;
}
inline Bytes PcmFmt(uint16_t channels, uint32_t rate, uint16_t bits) {
    const uint16_t align = uint16_t(channels * bits / 8);
    Bytes b = {1, 0, uint8_t(channels), uint8_t(channels >> 8)};
    Add(b, Le32Bytes(rate));
    Add(b, Le32Bytes(rate * align));
    Add(b, {uint8_t(align), uint8_t(align >> 8), uint8_t(bits), uint8_t(bits >> 8)});
    return b;
}
// An ID3v2.3 frame: a plain big-endian size, `declared` overriding it.
inline Bytes Frame(const std::string& id, const Bytes& body, int64_t declared = -1) {
    const uint32_t size = declared < 0 ? uint32_t(body.size()) : uint32_t(declared);
    Bytes b(id.begin(), id.end());
    Add(b, {uint8_t(size >> 24), uint8_t(size >> 16), uint8_t(size >> 8), uint8_t(size), 0, 0});
    Add(b, body);
    return b;
}
inline Bytes Id3v23(const Bytes& frames, uint8_t flags = 0) {
    Bytes b = {'I', 'D', '3', 3, 0, flags};
    Add(b, SynchsafeBytes(uint32_t(frames.size())));
    Add(b, frames);
    return b;
}

// Claims `size` bytes; only the first ones (a header) are real, the rest read as zeros.
struct SparseSource final : ByteSource {
    Bytes head;
    uint64_t size;
    SparseSource(Bytes h, uint64_t s) : head(std::move(h)), size(s) {}
    uint64_t Size() const override { return size; }
    size_t Read(uint64_t offset, void* buffer, size_t length) override {
        const size_t n = offset >= size ? 0 : size_t(std::min<uint64_t>(length, size - offset));
        for (size_t i = 0; i < n; ++i)
            static_cast<uint8_t*>(buffer)[i] = offset + i < head.size() ? head[offset + i] : 0;
        return n;
    }
};

} // namespace wm::wav::test
