// Little-endian fields in byte buffers (RIFF chunks, tag blocks, wave format records, command
// files), independent of the host's byte order. Portable.
#pragma once

#include <cstdint>

namespace wm {

inline uint16_t Le16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
inline uint32_t Le32(const uint8_t* p) {
    return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}
inline uint64_t Le64(const uint8_t* p) {
    return Le32(p) | (uint64_t{Le32(p + 4)} << 32);
}

inline void PutLe16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void PutLe32(uint8_t* p, uint32_t v) {
    PutLe16(p, static_cast<uint16_t>(v));
    PutLe16(p + 2, static_cast<uint16_t>(v >> 16));
}
inline void PutLe64(uint8_t* p, uint64_t v) {
    PutLe32(p, static_cast<uint32_t>(v));
    PutLe32(p + 4, static_cast<uint32_t>(v >> 32));
}

} // namespace wm
