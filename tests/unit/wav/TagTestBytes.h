// Byte builders for the tag tests: RIFF chunks and hand-made ID3v2 frames.
#pragma once

#include "bundled/wav/WaveTags.h"

#include <cstdint>
#include <string>
#include <vector>

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
inline Bytes Le32Bytes(uint32_t v) {
    return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
}
inline Bytes Be32Bytes(uint32_t v) {
    return {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
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
// An ID3v2.3 frame (plain 32-bit size) or 2.4 frame (synchsafe size).
inline Bytes Frame(int version, const std::string& id, const Bytes& body, uint8_t format = 0,
                   int64_t declared = -1) {
    const uint32_t size = declared < 0 ? uint32_t(body.size()) : uint32_t(declared);
    Bytes b = B(id);
    Add(b, version == 3 ? Be32Bytes(size) : SynchsafeBytes(size));
    b.push_back(0);
    b.push_back(format);
    Add(b, body);
    return b;
}
inline Bytes Id3(int version, const Bytes& frames, uint8_t flags = 0) {
    Bytes b = B("ID3");
    b.push_back(uint8_t(version));
    b.push_back(0);
    b.push_back(flags);
    Add(b, SynchsafeBytes(uint32_t(frames.size())));
    Add(b, frames);
    return b;
}

} // namespace wm::wav::test
