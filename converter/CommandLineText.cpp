#include "converter/CommandLineText.h"

#include "protocol/CommandText.h"
#include "protocol/ConverterOptions.h"

namespace wm {

namespace {
constexpr char16_t kQuote = u'"';
} // namespace

namespace {

// One argument by the standard Windows quoting rules: returns the decoded text and moves pos
// past the argument. Backslashes are literal unless they precede a quote.
String DecodeStandardArgument(StringView s, size_t& pos) {
    String out;
    bool quoted = false;
    while (pos < s.size()) {
        char16_t c = s[pos];
        if (!quoted && (c == u' ' || c == u'\t'))
            break;
        if (c == u'\\') {
            size_t n = 0;
            while (pos < s.size() && s[pos] == u'\\') {
                ++n;
                ++pos;
            }
            if (pos < s.size() && s[pos] == kQuote) {
                out.append(n / 2, u'\\');
                if (n % 2) {
                    out.push_back(kQuote);
                    ++pos;
                }
            } else {
                out.append(n, u'\\');
            }
            continue;
        }
        if (c == kQuote) {
            if (quoted && pos + 1 < s.size() && s[pos + 1] == kQuote) {
                out.push_back(kQuote); // "" inside quotes is a literal quote
                pos += 2;
                continue;
            }
            quoted = !quoted;
            ++pos;
            continue;
        }
        out.push_back(c);
        ++pos;
    }
    return out;
}

// -name=value (as decoded) in the tokeniser's form -name="value".
String ToTokeniserForm(StringView decoded) {
    size_t i = 1;
    while (i < decoded.size() && decoded[i] == u'-')
        ++i;
    while (i < decoded.size() && !EndsOptionName(decoded[i]))
        ++i;
    if (i >= decoded.size())
        return String(decoded);
    String out(decoded.substr(0, i));
    size_t v = i;
    while (v < decoded.size() && (decoded[v] == u' ' || decoded[v] == u'='))
        ++v;
    String value(decoded.substr(v));
    ReplaceAll(value, u"\"", u"{qt}"); // the tokeniser has no escape for a quote
    out += u"=\"";
    out += value;
    out += u'"';
    return out;
}

// True for an argument quoted whole as an option: a quote, one or two dashes, a name, "=", a
// value and the closing quote ("-infile=a b.wav"). A quoted value that merely starts with a
// dash ("-", "-3 dB") is not one and reaches the tokeniser as it stands.
bool IsQuotedWholeOption(StringView raw) {
    if (raw.size() < 4 || raw.front() != kQuote || raw.back() != kQuote || raw[1] != u'-')
        return false;
    size_t i = raw[2] == u'-' ? 3 : 2;
    const size_t nameStart = i;
    while (i < raw.size() && !EndsOptionName(raw[i]))
        ++i;
    return i > nameStart && i < raw.size() - 1 && raw[i] == u'=';
}

} // namespace

String OptionTextOfCommandLine(StringView line) {
    size_t pos;
    if (!line.empty() && line[0] == kQuote) {
        size_t close = line.find(kQuote, 1);
        pos = close == StringView::npos ? 0 : close + 1;
    } else {
        size_t space = line.find(u' ');
        pos = space == StringView::npos ? 0 : space + 1;
    }
    if (pos == 0)
        return String(line);
    String out;
    while (pos < line.size()) {
        char16_t c = line[pos];
        if (c == u' ' || c == u'\t') {
            out.push_back(c);
            ++pos;
            continue;
        }
        size_t begin = pos;
        String decoded = DecodeStandardArgument(line, pos);
        StringView raw = line.substr(begin, pos - begin);
        if (IsQuotedWholeOption(raw))
            out += ToTokeniserForm(decoded);
        else if (c == u'-' && raw.size() > 2 && raw.substr(raw.size() - 2) == u"=-" &&
                 raw.find(kQuote) == StringView::npos)
            out += ToTokeniserForm(raw); // -infile=- as shells pass it: "-" is a value here
        else
            out.append(raw);
    }
    return out;
}

String StripWavemillCmds(const OptionStore& store, size_t dspCount) {
    String out;
    for (size_t i = 0; i < store.Count(); ++i)
        if (ForwardedToEncoder(store.NameAt(i), dspCount))
            out += OptionText(store.NameAt(i), store.ValueAt(i));
    return out;
}

} // namespace wm
