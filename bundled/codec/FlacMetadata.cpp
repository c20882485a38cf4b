#include "bundled/codec/FlacMetadata.h"

#include "bundled/codec/PictureBlock.h"
#include "bundled/codec/VorbisComments.h"

#include <cstring>

namespace wm::codec {

namespace {

constexpr uint8_t kPadding = 1;
constexpr uint8_t kVorbisComment = 4;
constexpr uint8_t kPicture = 6;
constexpr uint8_t kLastFlag = 0x80;
constexpr size_t kHeaderSize = 4;
constexpr uint32_t kMaxBody = (1u << 24) - 1;

void PutLittle32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void PutText(std::vector<uint8_t>& out, const std::string& text) {
    PutLittle32(out, static_cast<uint32_t>(text.size()));
    out.insert(out.end(), text.begin(), text.end());
}

// The vendor string of an old comment block; empty when there is none or it is damaged.
std::string VendorOf(const FlacFront& front) {
    for (const FlacBlock& b : front.blocks) {
        if (b.type != kVorbisComment || b.body.size() < 4)
            continue;
        const uint32_t length =
            b.body[0] | b.body[1] << 8 | b.body[2] << 16 | uint32_t{b.body[3]} << 24;
        if (length <= b.body.size() - 4)
            return std::string(b.body.begin() + 4, b.body.begin() + 4 + length);
    }
    return {};
}

FlacBlock CommentBlock(const std::string& vendor, const wav::WaveTags& tags) {
    FlacBlock block{kVorbisComment, {}};
    const std::vector<std::string> comments = MakeVorbisComments(tags);
    PutText(block.body, vendor);
    PutLittle32(block.body, static_cast<uint32_t>(comments.size()));
    for (const std::string& c : comments)
        PutText(block.body, c);
    return block;
}

void AppendBlock(std::vector<uint8_t>& out, uint8_t type, const uint8_t* body, size_t size,
                 bool last) {
    out.push_back(static_cast<uint8_t>(type | (last ? kLastFlag : 0)));
    out.push_back(static_cast<uint8_t>(size >> 16));
    out.push_back(static_cast<uint8_t>(size >> 8));
    out.push_back(static_cast<uint8_t>(size));
    out.insert(out.end(), body, body + size);
}

} // namespace

bool ReadFlacFront(const ReadAtFunction& readAt, FlacFront& front, std::string& why) {
    front = FlacFront{};
    uint8_t head[4];
    if (readAt(0, head, 4) != 4 || std::memcmp(head, "fLaC", 4) != 0) {
        why = "the file is not FLAC";
        return false;
    }
    uint64_t at = 4;
    for (bool last = false; !last;) {
        if (readAt(at, head, 4) != 4) {
            why = "the metadata blocks run past the end of the file";
            return false;
        }
        last = (head[0] & kLastFlag) != 0;
        const size_t size = head[1] << 16 | head[2] << 8 | head[3];
        FlacBlock block{static_cast<uint8_t>(head[0] & 0x7F), std::vector<uint8_t>(size)};
        if (readAt(at + kHeaderSize, block.body.data(), size) != size) {
            why = "the metadata blocks run past the end of the file";
            return false;
        }
        front.blocks.push_back(std::move(block));
        at += kHeaderSize + size;
    }
    front.audioAt = at;
    return true;
}

std::vector<uint8_t> RewriteFlacTags(const FlacFront& front, const wav::WaveTags& tags,
                                     uint32_t paddingIfMoved) {
    std::vector<FlacBlock> blocks;
    for (const FlacBlock& b : front.blocks)
        if (b.type != kVorbisComment && b.type != kPicture && b.type != kPadding)
            blocks.push_back(b);
    blocks.push_back(CommentBlock(VendorOf(front), tags));
    for (const wav::Picture& picture : tags.pictures) {
        const std::string body = MakePictureBlock(picture);
        // A picture too large for a block stays out, as the encoder leaves it out.
        if (!picture.data.empty() && body.size() <= kMaxBody)
            blocks.push_back({kPicture, std::vector<uint8_t>(body.begin(), body.end())});
    }
    uint64_t size = 4;
    for (const FlacBlock& b : blocks)
        size += kHeaderSize + b.body.size();
    // In place needs the old front exactly filled: by the blocks alone, or with a padding block.
    const bool fitsWithPadding =
        size + kHeaderSize <= front.audioAt && front.audioAt - size - kHeaderSize <= kMaxBody;
    if (fitsWithPadding)
        blocks.push_back({kPadding, std::vector<uint8_t>(front.audioAt - size - kHeaderSize)});
    else if (size != front.audioAt && paddingIfMoved > 0)
        blocks.push_back({kPadding, std::vector<uint8_t>(paddingIfMoved)});
    std::vector<uint8_t> out = {'f', 'L', 'a', 'C'};
    for (size_t i = 0; i < blocks.size(); ++i)
        AppendBlock(out, blocks[i].type, blocks[i].body.data(), blocks[i].body.size(),
                    i + 1 == blocks.size());
    return out;
}

} // namespace wm::codec
