#include "text/NumberText.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

namespace wm {

namespace {

bool IsBlank(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n' || c == u'\v' || c == u'\f';
}

bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

String FromAscii(std::string_view s) {
    return String(s.begin(), s.end());
}

String UnsignedToText(uint64_t v) {
    char16_t buf[24];
    char16_t* p = buf + 24;
    do {
        *--p = static_cast<char16_t>(u'0' + v % 10);
        v /= 10;
    } while (v != 0);
    return String(p, buf + 24);
}

String PadNumber(uint64_t v, size_t width) {
    String s = UnsignedToText(v);
    if (s.size() < width)
        s.insert(0, width - s.size(), u'0');
    return s;
}

// Number + unit, singular only for exactly 1.
String Counted(uint64_t n, const char16_t* singular, const char16_t* plural) {
    return UnsignedToText(n) + (n == 1 ? singular : plural);
}

String ApplyNegativePattern(const String& number, const LocaleNumberSettings& s) {
    switch (s.negativePattern) {
    case 0:
        return u"(" + number + u")";
    case 2:
        return s.negativeSign + u" " + number;
    case 3:
        return number + s.negativeSign;
    case 4:
        return number + u" " + s.negativeSign;
    default:
        return s.negativeSign + number;
    }
}

String WordDuration(uint64_t h, uint64_t m, uint64_t s, uint64_t ms, bool showMs) {
    if (h != 0) {
        String out = Counted(h, u" hour", u" hours");
        if (m != 0)
            out.append(u" ").append(Counted(m, u" minute", u" minutes"));
        return out;
    }
    if (m != 0) {
        String out = Counted(m, u" minute", u" minutes");
        if (s != 0)
            out.append(u" ").append(Counted(s, u" second", u" seconds"));
        return out;
    }
    if (s != 0) {
        if (showMs && ms != 0)
            return FloatToText(static_cast<double>(s) + static_cast<double>(ms) / 1000.0, 1) +
                   u" seconds";
        return Counted(s, u" second", u" seconds");
    }
    if (showMs && ms != 0)
        return Counted(ms, u" mili-second", u" mili-seconds");
    return u"0";
}

} // namespace

String IntToText(int64_t value) {
    if (value >= 0)
        return UnsignedToText(static_cast<uint64_t>(value));
    // Negate in unsigned arithmetic so the most negative value needs no special case.
    return String(u"-").append(UnsignedToText(0 - static_cast<uint64_t>(value)));
}

namespace {

// Moves i past leading blanks and an optional sign; true when the sign was "-".
bool SkipBlanksAndSign(StringView text, size_t& i) {
    while (i < text.size() && IsBlank(text[i]))
        ++i;
    if (i < text.size() && (text[i] == u'-' || text[i] == u'+'))
        return text[i++] == u'-';
    return false;
}

} // namespace

int64_t TextToInt(StringView text) {
    size_t i = 0;
    bool negative = SkipBlanksAndSign(text, i);
    const uint64_t limit = negative ? uint64_t{1} << 63 : (uint64_t{1} << 63) - 1;
    uint64_t v = 0;
    for (; i < text.size() && IsDigit(text[i]); ++i) {
        unsigned d = text[i] - u'0';
        if (v > (limit - d) / 10) {
            v = limit; // saturate like the C runtime does
            break;
        }
        v = v * 10 + d;
    }
    if (negative)
        return v == (uint64_t{1} << 63) ? std::numeric_limits<int64_t>::min()
                                        : -static_cast<int64_t>(v);
    return static_cast<int64_t>(v);
}

double TextToFloat(StringView text) {
    size_t i = 0;
    bool negative = SkipBlanksAndSign(text, i);
    // Take the longest prefix of the form digits[.digits][e[sign]digits] as ASCII.
    std::string number;
    size_t mantissaDigits = 0;
    for (; i < text.size() && IsDigit(text[i]); ++i, ++mantissaDigits)
        number.push_back(static_cast<char>(text[i]));
    if (i < text.size() && text[i] == u'.') {
        number.push_back('.');
        for (++i; i < text.size() && IsDigit(text[i]); ++i, ++mantissaDigits)
            number.push_back(static_cast<char>(text[i]));
    }
    if (mantissaDigits == 0)
        return 0.0;
    bool negativeExponent = false;
    if (i < text.size() && (text[i] == u'e' || text[i] == u'E')) {
        size_t j = i + 1;
        std::string exponent = "e";
        if (j < text.size() && (text[j] == u'-' || text[j] == u'+')) {
            negativeExponent = text[j] == u'-';
            exponent.push_back(static_cast<char>(text[j++]));
        }
        if (j < text.size() && IsDigit(text[j])) {
            for (; j < text.size() && IsDigit(text[j]); ++j)
                exponent.push_back(static_cast<char>(text[j]));
            number += exponent;
        } else {
            negativeExponent = false;
        }
    }
    double v = 0.0;
    auto result = std::from_chars(number.data(), number.data() + number.size(), v);
    if (result.ec == std::errc::result_out_of_range)
        v = negativeExponent ? 0.0 : std::numeric_limits<double>::infinity();
    return negative ? -v : v;
}

bool TextToBool(StringView text) {
    return TextToInt(text) != 0 || EqualsNoCase(text, u"tRue");
}

String FloatToText(double value, int decimals) {
    if (decimals < 0)
        decimals = 0;
    if (decimals > 40)
        decimals = 40;
    int need = std::snprintf(nullptr, 0, "%.*f", decimals, value);
    if (need <= 0)
        return String();
    std::vector<char> buf(static_cast<size_t>(need) + 1);
    std::snprintf(buf.data(), buf.size(), "%.*f", decimals, value);
    std::string_view plain(buf.data(), static_cast<size_t>(need));
    // A value that rounds to zero shows without a sign.
    if (!plain.empty() && plain[0] == '-' &&
        plain.find_first_not_of("-0.") == std::string_view::npos)
        plain.remove_prefix(1);
    return LocaliseNumber(FromAscii(plain));
}

String LocaliseNumber(StringView plain) {
    return LocaliseNumber(plain, CurrentLocale());
}

String LocaliseNumber(StringView plain, const LocaleNumberSettings& settings) {
    if (plain.empty())
        return String();
    const bool negative = plain[0] == u'-';
    const size_t start = negative ? 1 : 0;
    const size_t dot = plain.find(u'.', start);
    const size_t intEnd = dot == StringView::npos ? plain.size() : dot;
    StringView digits = plain.substr(start, intEnd - start);

    // Complete groups from the right: three digits, then threes (or twos for Indian grouping).
    std::vector<StringView> groups;
    size_t end = digits.size();
    size_t groupSize = 3;
    while (end > groupSize) {
        groups.push_back(digits.substr(end - groupSize, groupSize));
        end -= groupSize;
        if (settings.indianGrouping)
            groupSize = 2;
    }
    String out(digits.substr(0, end));
    for (auto it = groups.rbegin(); it != groups.rend(); ++it) {
        out += settings.thousand;
        out += *it;
    }
    if (dot != StringView::npos) {
        out += settings.decimal;
        out += plain.substr(dot + 1);
    }
    return negative ? ApplyNegativePattern(out, settings) : settings.positiveSign + out;
}

String FormatGrouped(int64_t value) {
    return LocaliseNumber(IntToText(value));
}

String ByteSizeText(uint64_t bytes, bool kilobytesOnly) {
    if (!kilobytesOnly) {
        static const struct {
            int shift;
            const char16_t* unit;
        } units[] = {{40, u" TB"}, {30, u" GB"}, {20, u" MB"}};
        for (const auto& u : units)
            if ((bytes >> u.shift) >= 1)
                return FloatToText(std::ldexp(static_cast<double>(bytes), -u.shift), 2) + u.unit;
        if (bytes < 1024)
            return UnsignedToText(bytes) + (bytes == 1 ? u" byte" : u" bytes");
    }
    if (bytes == 0)
        return u"0 KB";
    // Round up unless the remainder is tiny: 1,024 bytes is 1 KB, 1,050 bytes 2 KB.
    auto kilobytes = static_cast<uint64_t>(static_cast<double>(bytes) / 1024.0 + 0.99);
    return LocaliseNumber(UnsignedToText(kilobytes)) + u" KB";
}

String DurationText(uint64_t ms, int style) {
    const uint64_t h = ms / 3600000;
    const uint64_t rest = ms % 3600000;
    const uint64_t m = rest / 60000;
    const uint64_t s = rest % 60000 / 1000;
    const uint64_t milli = rest % 1000;
    switch (style) {
    case 0:
        return WordDuration(h, m, s, milli, true);
    case 4:
        return WordDuration(h, m, s, milli, false);
    case 1: {
        const String& sep = CurrentLocale().time;
        if (h != 0)
            return UnsignedToText(h) + sep + PadNumber(m, 2) + sep + PadNumber(s, 2);
        return UnsignedToText(m) + sep + PadNumber(s, 2);
    }
    case 2:
    case 3: {
        const LocaleNumberSettings& locale = CurrentLocale();
        String out =
            PadNumber(h, 2) + locale.time + PadNumber(m, 2) + locale.time + PadNumber(s, 2);
        if (style == 3)
            out += locale.decimal + PadNumber(milli, 3);
        return out;
    }
    default:
        return String();
    }
}

std::u16string PackMultiString(const StringList& items) {
    std::u16string out;
    for (const String& item : items) {
        out += item.empty() ? String(u"[Empty]") : item;
        out.push_back(u'\0');
    }
    out.push_back(u'\0');
    return out;
}

StringList UnpackMultiString(StringView packed) {
    StringList items;
    size_t pos = 0;
    while (pos < packed.size()) {
        size_t end = packed.find(u'\0', pos);
        if (end == StringView::npos)
            end = packed.size(); // tolerate a missing terminator
        if (end == pos)
            break; // the empty piece ends the list
        StringView piece = packed.substr(pos, end - pos);
        items.emplace_back(piece == u"[Empty]" ? StringView() : piece);
        pos = end + 1;
    }
    return items;
}

} // namespace wm
