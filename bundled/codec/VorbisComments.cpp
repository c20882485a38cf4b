#include "bundled/codec/VorbisComments.h"

#include "tags/TagText.h"
#include "text/String.h"

#include <algorithm>

namespace wm::codec {

namespace {

struct FieldName {
    const char* field;
    const char16_t* name;
};

// Writing uses the first field listed for a name; the others are read as well.
const FieldName kFields[] = {
    {"TITLE", u"title"},
    {"ARTIST", u"artist"},
    {"ALBUM", u"album"},
    {"ALBUMARTIST", u"album artist"},
    {"ALBUM ARTIST", u"album artist"},
    {"DATE", u"year"},
    {"YEAR", u"year"},
    {"GENRE", u"genre"},
    {"COMMENT", u"comment"},
    {"DESCRIPTION", u"comment"},
    {"COMPOSER", u"composer"},
    {"COPYRIGHT", u"copyright"},
    {"ENCODED-BY", u"Encoded By"},
    {"ENCODEDBY", u"Encoded By"},
    {"ENCODER", u"Encoder"},
    {"LYRICS", u"lyrics"},
    {"TRACKNUMBER", u"track"},
    {"DISCNUMBER", u"disc"},
    {"REPLAYGAIN_TRACK_GAIN", u"replaygain_track_gain"},
    {"REPLAYGAIN_TRACK_PEAK", u"replaygain_track_peak"},
    {"REPLAYGAIN_ALBUM_GAIN", u"replaygain_album_gain"},
    {"REPLAYGAIN_ALBUM_PEAK", u"replaygain_album_peak"},
};

// The count halves of "n/total" values, read into the number's tag afterwards.
const FieldName kTotals[] = {
    {"TRACKTOTAL", u"track"},
    {"TOTALTRACKS", u"track"},
    {"DISCTOTAL", u"disc"},
    {"TOTALDISCS", u"disc"},
};

String Upper(std::string_view s) {
    String out = Widen(s);
    for (char16_t& c : out)
        if (c >= u'a' && c <= u'z')
            c = static_cast<char16_t>(c - u'a' + u'A');
    return out;
}

template <size_t N> const char16_t* NameOf(const FieldName (&table)[N], StringView field) {
    for (const FieldName& f : table)
        if (EqualsNoCase(field, Widen(f.field)))
            return f.name;
    return nullptr;
}

void AddTotal(wav::WaveTags& tags, const char16_t* name, const String& total) {
    wav::TextTag* number = tags.Find(name);
    if (!number)
        tags.Put(name, u"/" + total);
    else if (number->value.find(u'/') == String::npos)
        number->value += u"/" + total;
}

// Field names are printable ASCII without "="; internal ("_") names stay out of the file.
bool IsFieldName(StringView name) {
    if (name.empty() || name[0] == u'_')
        return false;
    return std::all_of(name.begin(), name.end(),
                       [](char16_t c) { return c >= 0x20 && c <= 0x7D && c != u'='; });
}

} // namespace

void ReadVorbisComments(const std::vector<std::string_view>& comments, wav::WaveTags& tags) {
    for (std::string_view comment : comments) {
        const size_t eq = comment.find('=');
        if (eq == std::string_view::npos || eq == 0)
            continue;
        const String field = Upper(comment.substr(0, eq));
        // The tag set's strings end at a NUL; a name outside the field alphabet (or one that
        // would pass for an internal "_" tag) is not taken.
        String value = Widen(comment.substr(eq + 1));
        value.resize(std::min(value.find(u'\0'), value.size()));
        if (value.empty() || !IsFieldName(field))
            continue;
        if (const char16_t* counted = NameOf(kTotals, field)) {
            AddTotal(tags, counted, value);
            continue;
        }
        const char16_t* name = NameOf(kFields, field);
        // A count read before its number waits as "/total".
        wav::TextTag* known = name ? tags.Find(name) : nullptr;
        if (known && known->value.starts_with(u'/') &&
            (String(name) == u"track" || String(name) == u"disc"))
            known->value = value + known->value;
        else
            tags.AddValue(name ? String(name) : field, value);
    }
}

std::vector<std::string> MakeVorbisComments(const wav::WaveTags& tags) {
    std::vector<std::string> out;
    auto add = [&out](const std::string& field, StringView value, bool single = false) {
        // Free text keeps its line breaks, and a count is one value; elsewhere a CR separates
        // values.
        if (single || IsFreeTextTag(Widen(field))) {
            out.push_back(field + "=" + Narrow(value));
            return;
        }
        // Each distinct value once, as reading joins them.
        std::vector<StringView> seen;
        for (size_t start = 0; start <= value.size();) {
            const size_t end = std::min(value.find(u'\r', start), value.size());
            const StringView part = value.substr(start, end - start);
            if (!part.empty() && std::find(seen.begin(), seen.end(), part) == seen.end()) {
                seen.push_back(part);
                out.push_back(field + "=" + Narrow(part));
            }
            start = end + 1;
        }
    };
    for (const wav::TextTag& t : tags.text) {
        if (!IsFieldName(t.name) || t.value.empty())
            continue;
        const char* field = nullptr;
        for (const FieldName& f : kFields)
            if (!field && EqualsNoCase(t.name, f.name))
                field = f.field;
        const bool counted = field && (std::string_view(field) == "TRACKNUMBER" ||
                                       std::string_view(field) == "DISCNUMBER");
        const size_t slash = t.value.find(u'/');
        if (counted && slash != String::npos) {
            const StringView value = t.value;
            if (slash != 0)
                add(field, value.substr(0, slash), true);
            if (slash + 1 < value.size())
                add(field[0] == 'T' ? "TRACKTOTAL" : "DISCTOTAL", value.substr(slash + 1), true);
        } else {
            add(field ? std::string(field) : Narrow(t.name), t.value, counted);
        }
    }
    return out;
}

} // namespace wm::codec
