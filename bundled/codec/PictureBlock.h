// Pictures in Ogg comments: a FLAC PICTURE block (type, MIME type, description, size, data),
// base64-encoded as the value of a METADATA_BLOCK_PICTURE comment.
#pragma once

#include "bundled/wav/WaveTags.h"

#include <string>
#include <string_view>

namespace wm::codec {

std::string Base64Encode(const uint8_t* data, size_t size);
// False for a character outside the alphabet, a wrong length or misplaced padding.
bool Base64Decode(std::string_view text, wav::Bytes& out);

// The PICTURE block's body for `picture` (MIME type, size and depth read from the image).
std::string MakePictureBlock(const wav::Picture& picture);

// The base64 value of the block for `picture` (MIME type and size read from the image).
std::string MakePictureComment(const wav::Picture& picture);

// Reads a comment value back; false, with the reason, when the base64 or the block is broken.
bool ReadPictureComment(std::string_view value, wav::Picture& picture, std::string& why);

} // namespace wm::codec
