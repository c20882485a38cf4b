#include "plugins/ContentKind.h"

#include <algorithm>
#include <cstring>

namespace wm {

namespace {

bool Starts(const uint8_t* bytes, size_t size, size_t at, const char* magic) {
    const size_t length = std::strlen(magic);
    return at + length <= size && std::memcmp(bytes + at, magic, length) == 0;
}

// The bytes an ID3v2 tag at `at` takes, 0 when there is none.
size_t Id3Size(const uint8_t* bytes, size_t size) {
    if (!Starts(bytes, size, 0, "ID3") || size < 10)
        return 0;
    const size_t body = (bytes[6] & 0x7F) << 21 | (bytes[7] & 0x7F) << 14 | (bytes[8] & 0x7F) << 7 |
                        (bytes[9] & 0x7F);
    return 10 + body + ((bytes[5] & 0x10) ? 10 : 0);
}

// An MPEG audio frame header: sync, a layer, a valid bit-rate and rate index.
bool IsMpegFrame(const uint8_t* p) {
    return p[0] == 0xFF && (p[1] & 0xE0) == 0xE0 && (p[1] & 0x06) != 0 && (p[2] & 0xF0) != 0xF0 &&
           (p[2] & 0x0C) != 0x0C;
}

// ADTS: the sync, layer 0, and a valid rate index.
bool IsAdtsFrame(const uint8_t* p) {
    return p[0] == 0xFF && (p[1] & 0xF6) == 0xF0 && ((p[2] >> 2) & 0x0F) < 13;
}

struct Kind {
    const char* name;
    const char16_t* extensions; // separated by spaces
};

const Kind kFlac{"a FLAC file", u".flac .fla"};
const Kind kWave{"a WAV file", u".wav .wave .bwf"};
const Kind kRf64{"a WAV file (RF64)", u".wav .rf64 .bw64"};
const Kind kOgg{"an Ogg file", u".ogg .oga .opus .spx"};
const Kind kMp4{"an MP4 (M4A) file", u".m4a .mp4 .m4b .m4p .3gp .mov"};
const Kind kWavPack{"a WavPack file", u".wv"};
const Kind kApe{"a Monkey's Audio file", u".ape"};
const Kind kAiff{"an AIFF file", u".aif .aiff .aifc"};
const Kind kAdts{"an AAC (ADTS) file", u".aac .adts"};
const Kind kMpeg{"an MP3 file", u".mp3 .mp2 .mp1 .mpa"};

const Kind* KindAt(const uint8_t* bytes, size_t size, size_t at) {
    if (Starts(bytes, size, at, "fLaC"))
        return &kFlac;
    if (Starts(bytes, size, at, "RIFF") && Starts(bytes, size, at + 8, "WAVE"))
        return &kWave;
    if ((Starts(bytes, size, at, "RF64") || Starts(bytes, size, at, "BW64")) &&
        Starts(bytes, size, at + 8, "WAVE"))
        return &kRf64;
    if (Starts(bytes, size, at, "OggS"))
        return &kOgg;
    if (Starts(bytes, size, at + 4, "ftyp"))
        return &kMp4;
    if (Starts(bytes, size, at, "wvpk"))
        return &kWavPack;
    if (Starts(bytes, size, at, "MAC "))
        return &kApe;
    if (Starts(bytes, size, at, "FORM") && Starts(bytes, size, at + 8, "AIF"))
        return &kAiff;
    if (at + 4 > size)
        return nullptr;
    if (IsAdtsFrame(bytes + at))
        return &kAdts;
    if (IsMpegFrame(bytes + at))
        return &kMpeg;
    return nullptr;
}

StringList Split(StringView words) {
    StringList out;
    for (size_t at = 0; at < words.size();) {
        const size_t end = std::min(words.find(u' ', at), words.size());
        out.emplace_back(words.substr(at, end - at));
        at = end + 1;
    }
    return out;
}

} // namespace

bool FileKind::Fits(StringView extension) const {
    for (const String& e : extensions)
        if (EqualsNoCase(e, extension))
            return true;
    return false;
}

FileKind ContentKind(const uint8_t* bytes, size_t size) {
    const Kind* kind = KindAt(bytes, size, Id3Size(bytes, size));
    return kind ? FileKind{Widen(kind->name), Split(kind->extensions)} : FileKind{};
}

} // namespace wm
