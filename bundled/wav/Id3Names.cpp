// Which ID3 frame carries which tag name.
#include "bundled/wav/Id3Frames.h"

#include "bundled/wav/TagIdNames.h"

#include <cstring>

namespace wm::wav {

namespace {

// Writing uses the first frame listed for a name.
const TagIdName kFrameNames[] = {
    {"TIT2", u"title"},     {"TPE1", u"artist"},       {"TALB", u"album"},
    {"TCON", u"genre"},     {"TDRC", u"year"},         {"TYER", u"year"},
    {"TRCK", u"track"},     {"TENC", u"Encoded By"},   {"TSSE", u"Encoder"},
    {"TCOP", u"copyright"}, {"TPE2", u"album artist"}, {"TCOM", u"composer"},
    {"TPOS", u"disc"},
};

} // namespace

String Id3FrameToName(std::string_view frameId) {
    const char16_t* name = FindIdName(kFrameNames, frameId);
    return name ? String(name) : String(frameId.begin(), frameId.end());
}

bool NameToId3Frame(StringView name, char (&frameId)[5]) {
    // A tag named "TXXX" is user text like any unmapped name, not a frame id of its own.
    return name != u"TXXX" && FindNameId(kFrameNames, name, u'T', frameId);
}

const char* PictureMimeType(const uint8_t* p, size_t n) {
    auto starts = [&](const char* sig, size_t len, size_t at = 0) {
        return n >= at + len && std::memcmp(p + at, sig, len) == 0;
    };
    if (starts("\xFF\xD8\xFF", 3))
        return "image/jpeg";
    if (starts("\x89PNG\r\n\x1A\n", 8))
        return "image/png";
    if (starts("GIF8", 4))
        return "image/gif";
    if (starts("BM", 2))
        return "image/bmp";
    if (starts("RIFF", 4) && starts("WEBP", 4, 8))
        return "image/webp";
    return "application/octet-stream";
}

} // namespace wm::wav
