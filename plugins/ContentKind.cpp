#include "plugins/ContentKind.h"

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

const char* KindAt(const uint8_t* bytes, size_t size, size_t at) {
    if (Starts(bytes, size, at, "fLaC"))
        return "a FLAC file";
    if (Starts(bytes, size, at, "RIFF") && Starts(bytes, size, at + 8, "WAVE"))
        return "a WAV file";
    if ((Starts(bytes, size, at, "RF64") || Starts(bytes, size, at, "BW64")) &&
        Starts(bytes, size, at + 8, "WAVE"))
        return "a WAV file (RF64)";
    if (Starts(bytes, size, at, "OggS"))
        return "an Ogg file";
    if (Starts(bytes, size, at + 4, "ftyp"))
        return "an MP4 (M4A) file";
    if (Starts(bytes, size, at, "wvpk"))
        return "a WavPack file";
    if (Starts(bytes, size, at, "MAC "))
        return "a Monkey's Audio file";
    if (Starts(bytes, size, at, "FORM") && Starts(bytes, size, at + 8, "AIF"))
        return "an AIFF file";
    if (at + 4 > size)
        return nullptr;
    if (IsAdtsFrame(bytes + at))
        return "an AAC (ADTS) file";
    if (IsMpegFrame(bytes + at))
        return "an MP3 file";
    return nullptr;
}

} // namespace

String ContentKind(const uint8_t* bytes, size_t size) {
    const char* kind = KindAt(bytes, size, Id3Size(bytes, size));
    return kind ? Widen(kind) : String();
}

} // namespace wm
