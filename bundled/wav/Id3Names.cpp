// Which ID3 frame carries which tag name.
#include "bundled/wav/Id3Frames.h"

#include <cstring>

namespace wm::wav {

namespace {

struct FrameName {
    char id[5];
    const char16_t* name;
};

// Writing uses the first frame listed for a name.
const FrameName kFrameNames[] = {
    {"TIT2", u"title"},     {"TPE1", u"artist"},       {"TALB", u"album"},
    {"TCON", u"genre"},     {"TDRC", u"year"},         {"TYER", u"year"},
    {"TRCK", u"track"},     {"TENC", u"Encoded By"},   {"TSSE", u"Encoder"},
    {"TCOP", u"copyright"}, {"TPE2", u"album artist"}, {"TCOM", u"composer"},
    {"TPOS", u"disc"},
};

bool IsFrameIdChar(char16_t c) {
    return (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9');
}

} // namespace

String Id3FrameToName(std::string_view frameId) {
    for (const FrameName& f : kFrameNames)
        if (frameId == f.id)
            return f.name;
    return String(frameId.begin(), frameId.end());
}

bool NameToId3Frame(StringView name, char (&frameId)[5]) {
    for (const FrameName& f : kFrameNames) {
        if (EqualsNoCase(name, f.name)) {
            std::memcpy(frameId, f.id, 5);
            return true;
        }
    }
    if (name.size() != 4 || name[0] != u'T' || name == u"TXXX")
        return false;
    for (char16_t c : name)
        if (!IsFrameIdChar(c))
            return false;
    for (int i = 0; i < 4; ++i)
        frameId[i] = static_cast<char>(name[i]);
    frameId[4] = 0;
    return true;
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
