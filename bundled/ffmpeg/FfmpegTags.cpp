#include "bundled/ffmpeg/FfmpegTags.h"

#include "bundled/codec/VorbisComments.h"

#include <array>
#include <cstring>
#include <string_view>

namespace wm::ffmpeg {

namespace {

struct KeyName {
    const char* key;      // FFmpeg's generic key
    const char* field;    // the Vorbis comment field the shared reader maps to a host name
    const char16_t* name; // the host's name, for writing
};

// Keys whose atom the M4A muxer writes itself; reading also maps the demuxers' other spellings.
const KeyName kKeys[] = {
    {"title", "TITLE", u"title"},
    {"artist", "ARTIST", u"artist"},
    {"album", "ALBUM", u"album"},
    {"album_artist", "ALBUMARTIST", u"album artist"},
    {"date", "DATE", u"year"},
    {"genre", "GENRE", u"genre"},
    {"comment", "COMMENT", u"comment"},
    {"composer", "COMPOSER", u"composer"},
    {"copyright", "COPYRIGHT", u"copyright"},
    {"lyrics", "LYRICS", u"lyrics"},
    {"encoder", "ENCODER", u"Encoder"},
    {"track", "TRACKNUMBER", u"track"},
    {"disc", "DISCNUMBER", u"disc"},
};

const KeyName kReadOnlyKeys[] = {
    {"encoded_by", "ENCODED-BY", nullptr},
    {"year", "DATE", nullptr},
    {"tracknumber", "TRACKNUMBER", nullptr},
    {"discnumber", "DISCNUMBER", nullptr},
};

// What describes the container or the stream rather than the music.
constexpr std::array<std::string_view, 9> kContainerKeys = {
    "major_brand", "minor_version", "compatible_brands", "creation_time", "handler_name",
    "vendor_id",   "iTunSMPB",      "language",          "cdec"};

// FFmpeg's names of the ID3 picture types, in type order (its demuxers put them in a picture
// stream's "comment").
constexpr std::array<std::string_view, 21> kPictureTypes = {"Other",
                                                            "32x32 pixels 'file icon' (PNG only)",
                                                            "Other file icon",
                                                            "Cover (front)",
                                                            "Cover (back)",
                                                            "Leaflet page",
                                                            "Media (e.g. label side of CD)",
                                                            "Lead artist/lead performer/soloist",
                                                            "Artist/performer",
                                                            "Conductor",
                                                            "Band/Orchestra",
                                                            "Composer",
                                                            "Lyricist/text writer",
                                                            "Recording Location",
                                                            "During recording",
                                                            "During performance",
                                                            "Movie/video screen capture",
                                                            "A bright coloured fish",
                                                            "Illustration",
                                                            "Band/artist logotype",
                                                            "Publisher/Studio logotype"};

bool SameKey(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return (x | 0x20) == (y | 0x20);
           });
}

std::string FieldOf(std::string_view key) {
    for (const KeyName& k : kKeys)
        if (SameKey(key, k.key))
            return k.field;
    for (const KeyName& k : kReadOnlyKeys)
        if (SameKey(key, k.key))
            return k.field;
    return std::string(key);
}

void ReadText(const AVDictionary* metadata, wav::WaveTags& tags) {
    std::vector<std::string> comments;
    const AVDictionaryEntry* e = nullptr;
    while ((e = av_dict_get(metadata, "", e, AV_DICT_IGNORE_SUFFIX))) {
        const std::string_view key = e->key;
        bool container = false;
        for (std::string_view c : kContainerKeys)
            container = container || SameKey(key, c);
        if (!container)
            comments.push_back(FieldOf(key) + "=" + e->value);
    }
    codec::ReadVorbisComments({comments.begin(), comments.end()}, tags);
}

uint8_t PictureType(const AVDictionary* metadata) {
    const AVDictionaryEntry* comment = av_dict_get(metadata, "comment", nullptr, 0);
    for (size_t type = 0; comment && type < kPictureTypes.size(); ++type)
        if (kPictureTypes[type] == comment->value)
            return static_cast<uint8_t>(type);
    return 0; // no type: the shared rule makes it the front cover when there is none
}

} // namespace

void ReadAvTags(const AVFormatContext& format, int audioStream, wav::WaveTags& tags) {
    const AVDictionary* metadata = format.metadata;
    if (av_dict_count(metadata) == 0 && audioStream >= 0)
        metadata = format.streams[audioStream]->metadata;
    ReadText(metadata, tags);
    std::vector<wav::Picture> pictures;
    for (unsigned i = 0; i < format.nb_streams; ++i) {
        const AVStream& s = *format.streams[i];
        if (!(s.disposition & AV_DISPOSITION_ATTACHED_PIC) || s.attached_pic.size <= 0)
            continue;
        wav::Picture p;
        p.type = PictureType(s.metadata);
        if (const AVDictionaryEntry* title = av_dict_get(s.metadata, "title", nullptr, 0))
            p.description = Widen(title->value);
        p.data.assign(s.attached_pic.data, s.attached_pic.data + s.attached_pic.size);
        pictures.push_back(std::move(p));
    }
    tags.AdoptPictures(std::move(pictures));
}

void WriteAvTags(const wav::WaveTags& tags, AVDictionary** metadata,
                 std::vector<codec::NamedText>& freeForm) {
    for (const wav::TextTag& t : tags.text) {
        if (t.name.empty() || t.name[0] == u'_' || t.value.empty())
            continue;
        String value = t.value;
        for (size_t at = 0; (at = value.find(u'\r', at)) != String::npos; at += 2)
            value.replace(at, 1, u"; ");
        const KeyName* known = nullptr;
        for (const KeyName& k : kKeys)
            if (!known && EqualsNoCase(t.name, k.name))
                known = &k;
        if (known)
            av_dict_set(metadata, known->key, Narrow(value).c_str(), 0);
        else
            freeForm.push_back({Narrow(t.name), Narrow(value)});
    }
}

} // namespace wm::ffmpeg
