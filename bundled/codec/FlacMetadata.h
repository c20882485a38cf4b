// The metadata blocks at the front of a FLAC file, and new tags put into them: in place when the
// new blocks fit the room the old ones and their padding took, else as a new front for the file.
#pragma once

#include "bundled/wav/WaveTags.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace wm::codec {

struct FlacBlock {
    uint8_t type = 0; // 0 STREAMINFO, 1 PADDING, 4 VORBIS_COMMENT, 6 PICTURE, ...
    std::vector<uint8_t> body;
};

struct FlacFront {
    std::vector<FlacBlock> blocks;
    uint64_t audioAt = 0; // the first frame's offset: "fLaC" and the blocks before it
};

// Reads up to `length` bytes at `offset`; fewer only at the end of the file or on failure.
using ReadAtFunction = std::function<size_t(uint64_t offset, void* buffer, size_t length)>;

// False with the reason for a file that is not FLAC or whose blocks run past its end.
bool ReadFlacFront(const ReadAtFunction& readAt, FlacFront& front, std::string& why);

// "fLaC" and every block, the audio not included: the tags' Vorbis comments (the old vendor
// string kept) and pictures in place of the old ones, every other block kept in its order,
// padding last. Exactly front.audioAt bytes (to go over the old front) when the blocks fit there,
// alone or with a padding block; else with `paddingIfMoved` bytes of padding, for the next change.
std::vector<uint8_t> RewriteFlacTags(const FlacFront& front, const wav::WaveTags& tags,
                                     uint32_t paddingIfMoved);

} // namespace wm::codec
