#include "bundled/mp3_decoder/Mp3TagWriter.h"

#include "bundled/codec/Mp3Tags.h"
#include "bundled/win/FrontRewrite.h"

namespace wm::bundled {

namespace {
// Room for the next change, so that it goes in place.
constexpr uint32_t kPaddingIfMoved = 4096;
} // namespace

String WriteMp3Tags(const char16_t* path, const wav::WaveTags& tags) {
    Win32File file;
    if (!file.OpenForUpdate(path))
        return u"the file cannot be opened for writing";
    uint8_t header[10] = {};
    const uint64_t oldTag = codec::Id3v2Length(header, file.ReadAt(0, header, sizeof header));
    if (oldTag > file.Size())
        return u"its ID3v2 tag runs past the end of the file";
    return ReplaceFront(path, file, codec::Id3FrontFor(tags, oldTag, kPaddingIfMoved), oldTag);
}

} // namespace wm::bundled
