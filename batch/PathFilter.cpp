#include "batch/PathFilter.h"

namespace wm {

namespace {

char16_t Folded(char16_t c) {
    return c == u'/' ? u'\\' : FoldCase(c);
}

} // namespace

bool WildcardMatch(StringView pattern, StringView text) {
    // Greedy with one step back to the last "*": linear enough for path-sized texts.
    size_t p = 0, t = 0, starP = StringView::npos, starT = 0;
    while (t < text.size()) {
        if (p < pattern.size() &&
            (pattern[p] == u'?' || (pattern[p] != u'*' && Folded(pattern[p]) == Folded(text[t])))) {
            ++p;
            ++t;
        } else if (p < pattern.size() && pattern[p] == u'*') {
            starP = p++;
            starT = t;
        } else if (starP != StringView::npos) {
            p = starP + 1;
            t = ++starT;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == u'*')
        ++p;
    return p == pattern.size();
}

bool MatchesAny(StringView patterns, StringView path) {
    const String top = u"\\" + String(path);
    size_t start = 0;
    while (start <= patterns.size()) {
        size_t end = patterns.find(u';', start);
        if (end == StringView::npos)
            end = patterns.size();
        const StringView pattern = patterns.substr(start, end - start);
        if (!pattern.empty() && (WildcardMatch(pattern, path) || WildcardMatch(pattern, top)))
            return true;
        start = end + 1;
    }
    return false;
}

bool PathFilter::Keeps(StringView below) const {
    return (include_.empty() || MatchesAny(include_, below)) && !MatchesAny(exclude_, below);
}

} // namespace wm
