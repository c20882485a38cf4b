// Any byte string as the base64 value of a METADATA_BLOCK_PICTURE comment, and as the block
// itself: no crash, no read outside the input, and a picture read back is written and read
// again to the same type, description and bytes.
#include "bundled/codec/PictureBlock.h"

#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace wm;

void CheckSettles(const wav::Picture& picture) {
    wav::Picture again;
    std::string why;
    if (!codec::ReadPictureComment(codec::MakePictureComment(picture), again, why) ||
        again.type != picture.type || again.description != picture.description ||
        again.data != picture.data)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    wav::Picture picture;
    std::string why;
    if (codec::ReadPictureComment(text, picture, why))
        CheckSettles(picture);
    if (codec::ReadPictureComment(codec::Base64Encode(data, size), picture, why))
        CheckSettles(picture);
    return 0;
}
