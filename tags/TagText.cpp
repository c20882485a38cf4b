#include "tags/TagText.h"

#include <array>

namespace wm {

namespace {

char16_t FoldAscii(char16_t c) {
    return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c;
}

// Tested in this order; the order matters only for speed.
constexpr std::array<StringView, 21> kFreeTextNames = {u"album",
                                                       u"album sort",
                                                       u"subtitle",
                                                       u"set subtitle",
                                                       u"encoded by",
                                                       u"label",
                                                       u"encoder settings",
                                                       u"tempo",
                                                       u"source",
                                                       u"initial key",
                                                       u"contact",
                                                       u"copyright",
                                                       u"title",
                                                       u"comment",
                                                       u"title sort",
                                                       u"length",
                                                       u"year",
                                                       u"original release year",
                                                       u"release date",
                                                       u"recording dates",
                                                       u"description"};

constexpr std::array<char16_t, 13> kOddSpaces = {0x00A0, 0x2002, 0x2003, 0x2004, 0x2005,
                                                 0x2006, 0x2007, 0x2008, 0x2009, 0x200A,
                                                 0x202F, 0x205F, 0x3000};

} // namespace

bool TagNameEquals(StringView a, StringView b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (FoldAscii(a[i]) != FoldAscii(b[i]))
            return false;
    return true;
}

bool TagNameStartsWith(StringView name, StringView prefix) {
    return name.size() >= prefix.size() && TagNameEquals(name.substr(0, prefix.size()), prefix);
}

size_t TagNameFind(StringView text, StringView needle) {
    for (size_t i = 0; i + needle.size() <= text.size(); ++i)
        if (TagNameEquals(text.substr(i, needle.size()), needle))
            return i;
    return StringView::npos;
}

bool IsFreeTextTag(StringView name) {
    for (StringView free : kFreeTextNames)
        if (TagNameEquals(name, free))
            return true;
    if (TagNameFind(name, u"lyrics") != StringView::npos)
        return true;
    return TagNameEquals(name, u"CUESHEET") || TagNameEquals(name, u"EACLOG");
}

void EscapeTagValue(StringView name, String& value, bool toText, bool escapeLineBreaks) {
    if (IsFreeTextTag(name)) {
        if (!escapeLineBreaks)
            return;
        if (toText) {
            ReplaceAll(value, u"\r", u"{CR}");
            ReplaceAll(value, u"\n", u"{LF}");
        } else {
            ReplaceAll(value, u"{CR}", u"\r");
            ReplaceAll(value, u"{LF}", u"\n");
        }
    } else if (toText) {
        ReplaceAll(value, u"\r", u"; ");
    } else {
        ReplaceAll(value, u"; ", u"\r");
    }
}

namespace {

bool KeepsLineBreaks(StringView name) {
    return TagNameEquals(name, u"comment") || TagNameEquals(name, u"description") ||
           TagNameFind(name, u"lyrics") != StringView::npos || TagNameEquals(name, u"CUESHEET") ||
           TagNameEquals(name, u"EACLOG");
}

bool IsControl(char16_t c) {
    return c < 0x20 || c == 0x7F;
}

// CR LF, LF and CR become one CR each; empty values between them go.
void SeparateValues(String& value) {
    String out;
    for (size_t i = 0; i < value.size(); ++i) {
        const bool lineBreak = value[i] == u'\r' || value[i] == u'\n';
        if (lineBreak && value[i] == u'\r' && i + 1 < value.size() && value[i + 1] == u'\n')
            ++i;
        if (!lineBreak)
            out += value[i];
        else if (!out.empty() && out.back() != u'\r')
            out += u'\r';
    }
    if (!out.empty() && out.back() == u'\r')
        out.pop_back();
    value = std::move(out);
}

} // namespace

void CleanTagValue(StringView name, String& value) {
    const bool multiLine = KeepsLineBreaks(name);
    const bool freeText = multiLine || IsFreeTextTag(name);
    String out;
    out.reserve(value.size());
    for (char16_t c : value) {
        const bool lineBreak = c == u'\r' || c == u'\n';
        if (c == u'\t' || (lineBreak && freeText && !multiLine))
            out += u' ';
        else if (!IsControl(c) || lineBreak)
            out += c;
    }
    value = std::move(out);
    if (!freeText)
        SeparateValues(value);
}

void DropTagSpaces(String& value) {
    for (char16_t& c : value)
        for (char16_t odd : kOddSpaces)
            if (c == odd)
                c = u' ';
    size_t first = value.find_first_not_of(u' ');
    if (first == String::npos) {
        value.clear();
        return;
    }
    value.erase(value.find_last_not_of(u' ') + 1);
    value.erase(0, first);
}

} // namespace wm
