#include "bundled/codec/PictureBlock.h"

#include "bundled/wav/Id3Frames.h"
#include "tags/ImageInfo.h"

#include <algorithm>

namespace wm::codec {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Sextet(char c) {
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    return c == '+' ? 62 : c == '/' ? 63 : -1;
}

void PutBig32(std::string& out, uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<char>(v >> shift));
}

void PutField(std::string& out, std::string_view text) {
    PutBig32(out, static_cast<uint32_t>(text.size()));
    out.append(text);
}

// Big-endian fields of the block, each checked against what is left.
class BlockReader {
  public:
    explicit BlockReader(const wav::Bytes& block) : block_(block) {}
    bool Number(uint32_t& v) {
        if (block_.size() - at_ < 4)
            return false;
        v = 0;
        for (int i = 0; i < 4; ++i)
            v = v << 8 | block_[at_++];
        return true;
    }
    bool Field(std::string_view& text) {
        uint32_t size = 0;
        if (!Number(size) || block_.size() - at_ < size)
            return false;
        text = {reinterpret_cast<const char*>(block_.data() + at_), size};
        at_ += size;
        return true;
    }

  private:
    const wav::Bytes& block_;
    size_t at_ = 0;
};

} // namespace

std::string Base64Encode(const uint8_t* data, size_t size) {
    std::string out;
    out.reserve((size + 2) / 3 * 4);
    for (size_t i = 0; i < size; i += 3) {
        const size_t n = std::min<size_t>(3, size - i);
        uint32_t v = uint32_t{data[i]} << 16;
        if (n > 1)
            v |= uint32_t{data[i + 1]} << 8;
        if (n > 2)
            v |= data[i + 2];
        for (size_t k = 0; k < 4; ++k)
            out.push_back(k <= n ? kAlphabet[(v >> (18 - 6 * k)) & 63] : '=');
    }
    return out;
}

bool Base64Decode(std::string_view text, wav::Bytes& out) {
    out.clear();
    if (text.size() % 4 != 0)
        return false;
    out.reserve(text.size() / 4 * 3);
    for (size_t i = 0; i < text.size(); i += 4) {
        const bool last = i + 4 == text.size();
        const size_t pad = last ? (text[i + 3] == '=') + (text[i + 2] == '=') : 0;
        uint32_t v = 0;
        for (size_t k = 0; k < 4; ++k) {
            const int s = k >= 4 - pad ? 0 : Sextet(text[i + k]);
            if (s < 0)
                return false;
            v = v << 6 | static_cast<uint32_t>(s);
        }
        for (size_t k = 0; k < 3 - pad; ++k)
            out.push_back(static_cast<uint8_t>(v >> (16 - 8 * k)));
    }
    return true;
}

std::string MakePictureBlock(const wav::Picture& picture) {
    const ImageInfo image = GetImageInfo(picture.data.data(), picture.data.size());
    std::string block;
    PutBig32(block, picture.type);
    PutField(block, wav::PictureMimeType(picture.data.data(), picture.data.size()));
    PutField(block, Narrow(picture.description));
    PutBig32(block, image.Width);
    PutBig32(block, image.Height);
    PutBig32(block, image.BitsPerPixel);
    PutBig32(block, 0); // colours used: only for indexed images, and optional there
    PutField(block, std::string_view(reinterpret_cast<const char*>(picture.data.data()),
                                     picture.data.size()));
    return block;
}

std::string MakePictureComment(const wav::Picture& picture) {
    const std::string block = MakePictureBlock(picture);
    return Base64Encode(reinterpret_cast<const uint8_t*>(block.data()), block.size());
}

bool ReadPictureComment(std::string_view value, wav::Picture& picture, std::string& why) {
    wav::Bytes block;
    if (!Base64Decode(value, block))
        return why = "its base64 text is broken", false;
    BlockReader reader(block);
    uint32_t type = 0, unused = 0;
    std::string_view mime, description, data;
    if (!reader.Number(type) || !reader.Field(mime) || !reader.Field(description) ||
        !reader.Number(unused) || !reader.Number(unused) || !reader.Number(unused) ||
        !reader.Number(unused) || !reader.Field(data))
        return why = "its picture block is cut short", false;
    if (data.empty())
        return why = "it holds no picture", false;
    picture.type = static_cast<uint8_t>(std::min<uint32_t>(type, 255));
    picture.description = Widen(description);
    picture.data.assign(data.begin(), data.end());
    return true;
}

} // namespace wm::codec
