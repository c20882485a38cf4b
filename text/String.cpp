#include "text/String.h"

namespace wm {

String Widen(std::string_view s) {
    String out;
    out.reserve(s.size());
    size_t i = 0;
    while (i < s.size()) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        char32_t cp = 0xFFFD;
        size_t len = 1;
        if (c < 0x80) {
            cp = c;
        } else {
            size_t need = (c >= 0xF0 && c < 0xF5) ? 4 : (c >= 0xE0) ? 3 : (c >= 0xC2) ? 2 : 0;
            if (need && c < 0xF5 && i + need <= s.size()) {
                char32_t v = c & (0x3F >> (need - 1));
                bool ok = true;
                for (size_t k = 1; k < need; ++k) {
                    unsigned char t = static_cast<unsigned char>(s[i + k]);
                    if ((t & 0xC0) != 0x80) {
                        ok = false;
                        break;
                    }
                    v = (v << 6) | (t & 0x3F);
                }
                bool minimal = (need == 2 && v >= 0x80) || (need == 3 && v >= 0x800) ||
                               (need == 4 && v >= 0x10000);
                if (ok && minimal && v <= 0x10FFFF && !(v >= 0xD800 && v <= 0xDFFF)) {
                    cp = v;
                    len = need;
                }
            }
        }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(cp));
        }
        i += len;
    }
    return out;
}

std::string Narrow(StringView s) {
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size(); ++i) {
        char32_t cp = s[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 &&
            s[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (s[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = 0xFFFD;
        }
        if (cp < 0x80) {
            out.push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
    return out;
}

char16_t FoldCase(char16_t c) {
    if (c >= u'a' && c <= u'z')
        return static_cast<char16_t>(c - 32);
    if (c >= 0xE0 && c <= 0xFE && c != 0xF7)
        return static_cast<char16_t>(c - 32);
    return c;
}

int CompareNoCase(StringView a, StringView b) {
    size_t n = a.size() < b.size() ? a.size() : b.size();
    for (size_t i = 0; i < n; ++i) {
        char16_t x = FoldCase(a[i]), y = FoldCase(b[i]);
        if (x != y)
            return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

bool EqualsNoCase(StringView a, StringView b) {
    return a.size() == b.size() && CompareNoCase(a, b) == 0;
}

bool StartsWithNoCase(StringView text, StringView prefix) {
    return text.size() >= prefix.size() && EqualsNoCase(text.substr(0, prefix.size()), prefix);
}

bool EndsWithNoCase(StringView text, StringView suffix) {
    return text.size() >= suffix.size() &&
           EqualsNoCase(text.substr(text.size() - suffix.size()), suffix);
}

size_t FindNoCase(StringView text, StringView needle) {
    if (needle.size() > text.size())
        return StringView::npos;
    for (size_t i = 0; i + needle.size() <= text.size(); ++i)
        if (EqualsNoCase(text.substr(i, needle.size()), needle))
            return i;
    return StringView::npos;
}

void ReplaceAll(String& text, StringView from, StringView to) {
    if (from.empty())
        return;
    size_t pos = 0;
    while ((pos = text.find(from, pos)) != String::npos) {
        text.replace(pos, from.size(), to);
        pos += to.size();
    }
}

} // namespace wm
