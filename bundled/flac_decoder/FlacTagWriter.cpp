#include "bundled/flac_decoder/FlacTagWriter.h"

#include "bundled/codec/FlacMetadata.h"
#include "bundled/win/FrontRewrite.h"

namespace wm::bundled {

namespace {
// The padding a moved front gets, as the encoder leaves by default.
constexpr uint32_t kPaddingIfMoved = 8192;
} // namespace

String WriteFlacTags(const char16_t* path, const wav::WaveTags& tags) {
    Win32File file;
    if (!file.OpenForUpdate(path))
        return u"the file cannot be opened for writing";
    codec::FlacFront front;
    std::string why;
    const auto readAt = [&file](uint64_t offset, void* buffer, size_t length) {
        return file.ReadAt(offset, buffer, length);
    };
    if (!codec::ReadFlacFront(readAt, front, why))
        return Widen(why);
    return ReplaceFront(path, file, codec::RewriteFlacTags(front, tags, kPaddingIfMoved),
                        front.audioAt);
}

} // namespace wm::bundled
