#include "bundled/cue/CueText.h"

namespace wm::cue {

namespace {

uint8_t At(std::string_view bytes, size_t i) {
    return static_cast<uint8_t>(bytes[i]);
}

bool IsUtf8(std::string_view bytes) {
    for (size_t i = 0; i < bytes.size();) {
        const uint8_t lead = At(bytes, i);
        const size_t length = lead < 0x80   ? 1
                              : lead < 0xC2 ? 0
                              : lead < 0xE0 ? 2
                              : lead < 0xF0 ? 3
                              : lead < 0xF5 ? 4
                                            : 0;
        if (length == 0 || i + length > bytes.size())
            return false;
        for (size_t k = 1; k < length; ++k)
            if ((At(bytes, i + k) & 0xC0) != 0x80)
                return false;
        i += length;
    }
    return true;
}

bool IsSjisLead(uint8_t b) {
    return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xFC);
}
bool IsSjisTrail(uint8_t b) {
    return b >= 0x40 && b <= 0xFC && b != 0x7F;
}

// Every byte above 0x7F belongs to a valid pair (half-width katakana 0xA1-0xDF stand alone),
// and most pairs are led by 0x81-0x9F, where Cyrillic and Western text seldom have letters.
bool LooksShiftJis(std::string_view bytes) {
    size_t pairs = 0, lowLeads = 0;
    for (size_t i = 0; i < bytes.size(); ++i) {
        const uint8_t b = At(bytes, i);
        if (b < 0x80 || (b >= 0xA1 && b <= 0xDF))
            continue;
        if (!IsSjisLead(b) || i + 1 >= bytes.size() || !IsSjisTrail(At(bytes, i + 1)))
            return false;
        ++pairs;
        lowLeads += b <= 0x9F ? 1 : 0;
        ++i;
    }
    return pairs > 0 && lowLeads * 2 > pairs;
}

bool IsHighLetter(uint8_t b) {
    return b >= 0xC0;
}

// Cyrillic words are runs of high letters; Western text has single accented letters between
// ASCII ones.
bool LooksCyrillic(std::string_view bytes) {
    size_t letters = 0, neighboured = 0;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (!IsHighLetter(At(bytes, i)))
            continue;
        ++letters;
        const bool before = i > 0 && IsHighLetter(At(bytes, i - 1));
        const bool after = i + 1 < bytes.size() && IsHighLetter(At(bytes, i + 1));
        neighboured += before || after ? 1 : 0;
    }
    return letters > 0 && neighboured * 2 > letters;
}

String FromUtf16(std::string_view bytes, bool bigEndian) {
    String text;
    text.reserve(bytes.size() / 2);
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const uint8_t a = At(bytes, i), b = At(bytes, i + 1);
        text += static_cast<char16_t>(bigEndian ? (a << 8 | b) : (b << 8 | a));
    }
    return text;
}

bool IsControl(char16_t c) {
    return (c < 0x20 && c != u'\t' && c != u'\r' && c != u'\n') || c == 0x7F;
}

// The 1-based line of the first control character, or 0.
uint32_t FirstBinaryLine(StringView text) {
    uint32_t line = 1;
    for (size_t i = 0; i < text.size(); ++i) {
        const char16_t c = text[i];
        if (IsControl(c))
            return line;
        if (c == u'\n' || (c == u'\r' && (i + 1 >= text.size() || text[i + 1] != u'\n')))
            ++line;
    }
    return 0;
}

} // namespace

CueEncoding DetectCueEncoding(std::string_view bytes, size_t& bomSize) {
    bomSize = 0;
    if (bytes.starts_with("\xEF\xBB\xBF"))
        return bomSize = 3, CueEncoding::kUtf8;
    if (bytes.starts_with("\xFF\xFE"))
        return bomSize = 2, CueEncoding::kUtf16Le;
    if (bytes.starts_with("\xFE\xFF"))
        return bomSize = 2, CueEncoding::kUtf16Be;
    if (IsUtf8(bytes))
        return CueEncoding::kUtf8;
    if (LooksShiftJis(bytes))
        return CueEncoding::kShiftJis;
    return LooksCyrillic(bytes) ? CueEncoding::kWindows1251 : CueEncoding::kWindows1252;
}

const char16_t* EncodingName(CueEncoding encoding) {
    switch (encoding) {
    case CueEncoding::kUtf8:
        return u"UTF-8";
    case CueEncoding::kUtf16Le:
        return u"UTF-16LE";
    case CueEncoding::kUtf16Be:
        return u"UTF-16BE";
    case CueEncoding::kShiftJis:
        return u"Shift-JIS";
    case CueEncoding::kWindows1251:
        return u"Windows-1251";
    case CueEncoding::kWindows1252:
        break;
    }
    return u"Windows-1252";
}

uint32_t CodePageOf(CueEncoding encoding) {
    switch (encoding) {
    case CueEncoding::kShiftJis:
        return 932;
    case CueEncoding::kWindows1251:
        return 1251;
    case CueEncoding::kWindows1252:
        return 1252;
    default:
        return 0;
    }
}

bool DecodeCueBytes(std::string_view bytes, LegacyDecoder legacy, String& text,
                    CueEncoding& encoding, CueError& error) {
    size_t bomSize = 0;
    encoding = DetectCueEncoding(bytes, bomSize);
    const std::string_view body = bytes.substr(bomSize);
    error = CueError{};
    if (encoding == CueEncoding::kUtf16Le || encoding == CueEncoding::kUtf16Be) {
        text = FromUtf16(body, encoding == CueEncoding::kUtf16Be);
    } else if (encoding == CueEncoding::kUtf8) {
        if (!IsUtf8(body)) {
            error.reason = u"the text after its UTF-8 byte-order mark is not UTF-8";
            return false;
        }
        text = Widen(body);
    } else if (!legacy(CodePageOf(encoding), body, text)) {
        error.reason = u"the text is neither UTF-8 nor " + String(EncodingName(encoding));
        return false;
    }
    if (const uint32_t line = FirstBinaryLine(text)) {
        error.line = line;
        error.reason = u"binary data, not text";
        return false;
    }
    return true;
}

} // namespace wm::cue
