// The tags around MP3 audio: an ID3v2 tag in front, ID3v1 and APE tags at the end.
#pragma once

#include "bundled/wav/WaveTags.h"

#include <cstddef>
#include <cstdint>

namespace wm::codec {

// Length of the ID3v2 tag (header, body and footer) whose 10-byte header is given; 0 when the
// bytes are not one.
uint64_t Id3v2Length(const uint8_t* header, size_t size);

// The ID3v2.3 tag for `tags`, as the encoder writes it, padded to exactly `room` bytes when it
// fits there (to go over an old tag of that length), else with `paddingIfMoved` bytes of padding.
wav::Bytes Id3FrontFor(const wav::WaveTags& tags, uint64_t room, uint32_t paddingIfMoved);

// The 128-byte ID3v1 tag ("TAG" ...) read into `tags`; false when the bytes are not one.
bool ReadId3v1(const uint8_t* tag, size_t size, wav::WaveTags& tags);

// Length of the APE tag whose 32-byte footer ("APETAGEX") is given, its header included; 0 when
// the bytes are not a footer.
uint64_t ApeTagLength(const uint8_t* footer, size_t size);

// Adds the text tags of `other` whose names `tags` lacks (the older tag fills the gaps).
void AddMissing(wav::WaveTags& tags, const wav::WaveTags& other);

} // namespace wm::codec
