#include "options/OptionStore.h"

namespace wm {

namespace {

constexpr char16_t kQuote = u'"';

} // namespace

bool EndsOptionName(char16_t c) {
    return c == kQuote || c == u'=' || c == u' ';
}

void OptionStore::Fill(StringView t, size_t start) {
    names_.clear();
    values_.clear();
    size_t p = t.find(u'-', start);
    while (p != StringView::npos) {
        size_t nameStart = p + 1;
        if (nameStart < t.size() && t[nameStart] == u'-')
            ++nameStart;
        size_t i = nameStart;
        while (i < t.size() && !EndsOptionName(t[i]))
            ++i;
        if (i == nameStart) { // empty name: look for the next option after it
            p = t.find(u'-', i);
            continue;
        }
        String name(t.substr(nameStart, i - nameStart));
        while (i < t.size() && (t[i] == u' ' || t[i] == u'='))
            ++i;
        if (i >= t.size() || t[i] == u'-') {
            names_.push_back(std::move(name));
            values_.emplace_back();
            p = i < t.size() ? i : StringView::npos;
            continue;
        }
        size_t resume;
        String value;
        if (t[i] != kQuote) {
            size_t end = t.find(u' ', i);
            if (end == StringView::npos)
                end = t.size();
            value.assign(t.substr(i, end - i));
            resume = end;
        } else {
            size_t close = t.find(kQuote, i + 1);
            if (close == StringView::npos) {
                resume = i + 1; // unterminated: empty value, scan on after the quote
            } else {
                value.assign(t.substr(i + 1, close - i - 1));
                resume = close + 1;
            }
        }
        names_.push_back(std::move(name));
        values_.push_back(std::move(value));
        p = t.find(u'-', resume);
    }
}

bool OptionStore::Find(StringView name, String* value) const {
    for (size_t i = 0; i < names_.size(); ++i) {
        if (EqualsNoCase(names_[i], name)) {
            if (value)
                *value = values_[i];
            return true;
        }
    }
    if (value)
        value->clear();
    return false;
}

String OptionStore::Value(StringView name) const {
    String v;
    Find(name, &v);
    return v;
}

} // namespace wm
