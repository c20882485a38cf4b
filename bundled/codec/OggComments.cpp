#include "bundled/codec/OggComments.h"

#include "bundled/codec/PictureBlock.h"
#include "bundled/codec/VorbisComments.h"
#include "text/String.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace wm::codec {

namespace {

constexpr std::string_view kPictureField = "METADATA_BLOCK_PICTURE";
// R128 gains are to -23 LUFS, ReplayGain's to -18 LUFS.
constexpr double kReferenceDifferenceDb = 5.0;

struct GainField {
    const char* r128;
    const char16_t* tag;
};
const GainField kGains[] = {
    {"R128_TRACK_GAIN", u"replaygain_track_gain"},
    {"R128_ALBUM_GAIN", u"replaygain_album_gain"},
};

// The field name of "NAME=value", upper-cased for comparing; empty without "=".
std::string FieldOf(std::string_view comment) {
    const size_t eq = comment.find('=');
    std::string field(comment.substr(0, eq == std::string_view::npos ? 0 : eq));
    for (char& c : field)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return field;
}

const GainField* GainOf(std::string_view field) {
    for (const GainField& g : kGains)
        if (field == g.r128)
            return &g;
    return nullptr;
}

bool ReadR128(std::string_view value, int& q78) {
    const std::string text(value);
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || v < -32768 || v > 32767)
        return false;
    q78 = static_cast<int>(v);
    return true;
}

} // namespace

bool ReplayGainToR128(std::string_view replayGain, int& q78) {
    const std::string text(replayGain);
    char* end = nullptr;
    const double db = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || !std::isfinite(db))
        return false;
    // ReplayGain is written to 0.01 dB: from that step the gain converts back and forth to the
    // same values.
    const double q = std::round((std::round(db * 100) / 100 - kReferenceDifferenceDb) * 256.0);
    if (q < -32768 || q > 32767)
        return false;
    q78 = static_cast<int>(q);
    return true;
}

std::string R128ToReplayGain(int q78) {
    char text[32];
    std::snprintf(text, sizeof text, "%+.2f dB", q78 / 256.0 + kReferenceDifferenceDb);
    return text;
}

bool ReadOggComments(const std::vector<std::string_view>& comments, OggCodec codec,
                     wav::WaveTags& tags, std::string& why) {
    std::vector<std::string_view> plain;
    std::vector<wav::Picture> pictures;
    std::vector<std::pair<const GainField*, int>> gains;
    for (std::string_view comment : comments) {
        const std::string field = FieldOf(comment);
        const std::string_view value = comment.substr(std::min(comment.size(), field.size() + 1));
        int q78 = 0;
        if (field == kPictureField) {
            wav::Picture picture;
            if (!ReadPictureComment(value, picture, why))
                return why = "a METADATA_BLOCK_PICTURE comment is damaged: " + why, false;
            pictures.push_back(std::move(picture));
        } else if (const GainField* gain = codec == OggCodec::Opus ? GainOf(field) : nullptr;
                   gain && ReadR128(value, q78)) {
            gains.emplace_back(gain, q78);
        } else {
            plain.push_back(comment);
        }
    }
    ReadVorbisComments(plain, tags);
    for (const auto& [gain, q78] : gains)
        tags.Put(gain->tag, Widen(R128ToReplayGain(q78)));
    tags.AdoptPictures(std::move(pictures));
    return true;
}

std::vector<std::string> MakeOggComments(const wav::WaveTags& tags, OggCodec codec) {
    wav::WaveTags text{tags.text, {}};
    std::vector<std::string> gains;
    if (codec == OggCodec::Opus) {
        // An Opus file holds no REPLAYGAIN_* fields: the gains become R128 ones, the peaks,
        // which R128 has no field for, are left out. R128 fields that did not read as gains
        // are not written back beside them.
        std::erase_if(text.text, [](const wav::TextTag& t) {
            return StartsWithNoCase(t.name, u"replaygain_") ||
                   GainOf(FieldOf(Narrow(t.name) + "="));
        });
        for (const GainField& g : kGains) {
            int q78 = 0;
            const wav::TextTag* rg = tags.Find(g.tag);
            if (rg && ReplayGainToR128(Narrow(rg->value), q78))
                gains.push_back(std::string(g.r128) + "=" + std::to_string(q78));
        }
    }
    std::vector<std::string> out = MakeVorbisComments(text);
    out.insert(out.end(), gains.begin(), gains.end());
    for (const wav::Picture& picture : tags.pictures)
        if (!picture.data.empty())
            out.push_back(std::string(kPictureField) + "=" + MakePictureComment(picture));
    return out;
}

} // namespace wm::codec
