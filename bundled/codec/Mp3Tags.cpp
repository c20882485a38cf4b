#include "bundled/codec/Mp3Tags.h"

#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/TextEncoding.h"

#include <cstring>
#include <string>

namespace wm::codec {

namespace {

// The genres ID3v1 numbers (0 to 79 as first defined).
const char* const kGenres[] = {"Blues",
                               "Classic Rock",
                               "Country",
                               "Dance",
                               "Disco",
                               "Funk",
                               "Grunge",
                               "Hip-Hop",
                               "Jazz",
                               "Metal",
                               "New Age",
                               "Oldies",
                               "Other",
                               "Pop",
                               "R&B",
                               "Rap",
                               "Reggae",
                               "Rock",
                               "Techno",
                               "Industrial",
                               "Alternative",
                               "Ska",
                               "Death Metal",
                               "Pranks",
                               "Soundtrack",
                               "Euro-Techno",
                               "Ambient",
                               "Trip-Hop",
                               "Vocal",
                               "Jazz+Funk",
                               "Fusion",
                               "Trance",
                               "Classical",
                               "Instrumental",
                               "Acid",
                               "House",
                               "Game",
                               "Sound Clip",
                               "Gospel",
                               "Noise",
                               "AlternRock",
                               "Bass",
                               "Soul",
                               "Punk",
                               "Space",
                               "Meditative",
                               "Instrumental Pop",
                               "Instrumental Rock",
                               "Ethnic",
                               "Gothic",
                               "Darkwave",
                               "Techno-Industrial",
                               "Electronic",
                               "Pop-Folk",
                               "Eurodance",
                               "Dream",
                               "Southern Rock",
                               "Comedy",
                               "Cult",
                               "Gangsta",
                               "Top 40",
                               "Christian Rap",
                               "Pop/Funk",
                               "Jungle",
                               "Native American",
                               "Cabaret",
                               "New Wave",
                               "Psychadelic",
                               "Rave",
                               "Showtunes",
                               "Trailer",
                               "Lo-Fi",
                               "Tribal",
                               "Acid Punk",
                               "Acid Jazz",
                               "Polka",
                               "Retro",
                               "Musical",
                               "Rock & Roll",
                               "Hard Rock"};

uint32_t Le32(const uint8_t* p) {
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

// A fixed-width Latin-1 field, cut at its first NUL, trailing blanks dropped.
String Field(const uint8_t* p, size_t width) {
    size_t n = 0;
    while (n < width && p[n] != 0)
        ++n;
    while (n > 0 && p[n - 1] == ' ')
        --n;
    return wav::FromLatin1(p, n);
}

} // namespace

uint64_t Id3v2Length(const uint8_t* h, size_t size) {
    if (size < 10 || std::memcmp(h, "ID3", 3) != 0 || h[3] == 0xFF || h[4] == 0xFF)
        return 0;
    for (int i = 6; i < 10; ++i)
        if (h[i] & 0x80)
            return 0;
    const uint64_t body = uint64_t{h[6]} << 21 | uint64_t{h[7]} << 14 | uint64_t{h[8]} << 7 | h[9];
    const bool footer = h[3] == 4 && (h[5] & 0x10);
    return 10 + body + (footer ? 10 : 0);
}

wav::Bytes Id3FrontFor(const wav::WaveTags& tags, uint64_t room, uint32_t paddingIfMoved) {
    wav::Bytes tag = wav::BuildId3Tag(tags, 3);
    if (tag.empty()) // no frames: a tag of padding alone still covers the old one
        tag = {'I', 'D', '3', 3, 0, 0, 0, 0, 0, 0};
    constexpr uint64_t kMaxBody = (1u << 28) - 1; // the size field's syncsafe limit
    const uint64_t total =
        tag.size() <= room && room - 10 <= kMaxBody ? room : tag.size() + paddingIfMoved;
    tag.resize(total);
    const uint64_t body = total - 10;
    for (int i = 0; i < 4; ++i)
        tag[6 + i] = static_cast<uint8_t>(body >> (7 * (3 - i)) & 0x7F);
    return tag;
}

bool ReadId3v1(const uint8_t* t, size_t size, wav::WaveTags& tags) {
    if (size < 128 || std::memcmp(t, "TAG", 3) != 0)
        return false;
    auto put = [&tags](const char16_t* name, const String& value) {
        if (!value.empty())
            tags.Put(name, value);
    };
    put(u"title", Field(t + 3, 30));
    put(u"artist", Field(t + 33, 30));
    put(u"album", Field(t + 63, 30));
    put(u"year", Field(t + 93, 4));
    // ID3v1.1: a zero byte before the last comment byte makes that byte the track number.
    const bool hasTrack = t[125] == 0 && t[126] != 0;
    put(u"comment", Field(t + 97, hasTrack ? 28 : 30));
    if (hasTrack)
        put(u"track", Widen(std::to_string(t[126])));
    if (t[127] < std::size(kGenres))
        put(u"genre", Widen(kGenres[t[127]]));
    return true;
}

uint64_t ApeTagLength(const uint8_t* f, size_t size) {
    if (size < 32 || std::memcmp(f, "APETAGEX", 8) != 0)
        return 0;
    const uint32_t length = Le32(f + 12); // items and footer
    const bool header = (Le32(f + 20) & 0x80000000u) != 0;
    return uint64_t{length} + (header ? 32 : 0);
}

void AddMissing(wav::WaveTags& tags, const wav::WaveTags& other) {
    for (const wav::TextTag& t : other.text)
        if (!tags.Find(t.name))
            tags.text.push_back(t);
}

} // namespace wm::codec
