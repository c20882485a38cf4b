#include "bundled/dsp/DspSettings.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace wm::dsp {

namespace {

bool IsBlank(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n';
}

char16_t Lower(char16_t c) {
    return c >= u'A' && c <= u'Z' ? char16_t(c - u'A' + u'a') : c;
}

bool SameText(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (Lower(a[i]) != Lower(b[i]))
            return false;
    return true;
}

std::u16string Quoted(std::u16string_view text) {
    return u"'" + std::u16string(text) + u"'";
}

// The value as ASCII, or empty when it holds anything else (no number needs more).
std::string Narrow(std::u16string_view text) {
    std::string out;
    for (char16_t c : text) {
        if (c == 0 || c > 0x7f)
            return {};
        out += char(c);
    }
    return out;
}

} // namespace

std::u16string Widen(std::string_view text) {
    return std::u16string(text.begin(), text.end());
}

std::u16string JoinNames(std::initializer_list<std::u16string_view> names,
                         std::u16string_view conjunction) {
    std::u16string out;
    size_t i = 0;
    for (std::u16string_view name : names) {
        if (i > 0)
            out += i + 1 == names.size() ? std::u16string(conjunction) : u", ";
        out += name;
        ++i;
    }
    return out;
}

bool DspSettings::Parse(const char16_t* text, std::initializer_list<std::u16string_view> valid,
                        std::u16string& error) {
    entries_.clear();
    std::u16string_view rest = text ? std::u16string_view(text) : std::u16string_view();
    const std::u16string list = u" (valid settings: " + JoinNames(valid, u" and ") + u")";
    while (!rest.empty()) {
        size_t start = 0;
        while (start < rest.size() && IsBlank(rest[start]))
            ++start;
        size_t end = start;
        while (end < rest.size() && !IsBlank(rest[end]))
            ++end;
        const std::u16string_view word = rest.substr(start, end - start);
        rest.remove_prefix(end);
        if (word.empty())
            continue;
        const size_t eq = word.find(u'=');
        if (eq == 0 || eq == std::u16string_view::npos || eq + 1 == word.size()) {
            error = u"setting " + Quoted(word) + u" is not key=value" + list;
            return false;
        }
        const std::u16string_view key = word.substr(0, eq);
        bool known = false;
        for (std::u16string_view name : valid)
            known = known || SameText(key, name);
        if (!known) {
            error = u"unknown setting " + Quoted(key) + list;
            return false;
        }
        if (Has(key)) {
            error = u"setting " + Quoted(key) + u" is given twice";
            return false;
        }
        entries_.push_back({std::u16string(key), std::u16string(word.substr(eq + 1))});
    }
    return true;
}

const DspSettings::Entry* DspSettings::Find(std::u16string_view key) const {
    for (const Entry& entry : entries_)
        if (SameText(entry.key, key))
            return &entry;
    return nullptr;
}

bool DspSettings::Number(std::u16string_view key, double low, double high, double& value,
                         std::u16string& error) const {
    const Entry* entry = Find(key);
    const std::string text = entry ? Narrow(entry->value) : std::string();
    const char* first = text.data();
    const char* last = first + text.size();
    if (first != last && *first == '+')
        ++first; // "gain=+6" reads naturally
    double parsed = 0;
    const auto [end, ec] = std::from_chars(first, last, parsed);
    if (text.empty() || ec != std::errc() || end != last || !std::isfinite(parsed) ||
        parsed < low || parsed > high) {
        char range[64];
        std::snprintf(range, sizeof range, "a number from %g to %g", low, high);
        error = u"setting " + Quoted(key) + u" must be " + Widen(range) + u", not " +
                Quoted(entry ? entry->value : u"");
        return false;
    }
    value = parsed;
    return true;
}

bool DspSettings::Choice(std::u16string_view key, std::initializer_list<std::u16string_view> words,
                         size_t& index, std::u16string& error) const {
    const Entry* entry = Find(key);
    size_t i = 0;
    for (std::u16string_view word : words) {
        if (entry && SameText(entry->value, word)) {
            index = i;
            return true;
        }
        ++i;
    }
    error = u"setting " + Quoted(key) + u" must be " + JoinNames(words, u" or ") + u", not " +
            Quoted(entry ? entry->value : u"");
    return false;
}

} // namespace wm::dsp
