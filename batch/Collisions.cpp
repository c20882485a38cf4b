#include "batch/Collisions.h"

#include "files/PathText.h"
#include "text/NumberText.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace wm {

namespace {

// Who holds a name: a source lying there, or the output of an earlier source.
struct Holder {
    String source;
    String disc;
    bool isSource = false;
};

String Folded(StringView path) {
    String f;
    for (char16_t c : path)
        f += FoldCase(c == u'/' ? u'\\' : c);
    return f;
}

String TypeWord(StringView path) {
    const String ext = ExtensionOf(path);
    String word;
    for (char16_t c : ext.size() > 1 ? StringView(ext).substr(1) : StringView())
        word += (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c;
    return word;
}

String WithSuffix(StringView output, StringView suffix) {
    const String ext = ExtensionOf(output);
    return String(output.substr(0, output.size() - ext.size())) + String(suffix) + ext;
}

// The suffixes worth trying, the most telling first.
StringList Suffixes(const OutputClaim& claim, const Holder& holder) {
    StringList suffixes;
    if (!claim.disc.empty() && claim.disc != holder.disc)
        suffixes.push_back(u" (disc " + claim.disc + u")");
    if (!EqualsNoCase(TypeWord(claim.source), TypeWord(holder.source)))
        suffixes.push_back(u" (" + TypeWord(claim.source) + u")");
    return suffixes;
}

String HolderText(const Holder& h) {
    return h.isSource ? u"the source '" + h.source + u"'" : u"the output of '" + h.source + u"'";
}

String FreeName(const OutputClaim& claim, const Holder& holder,
                const std::map<String, Holder>& taken) {
    for (const String& suffix : Suffixes(claim, holder))
        if (!taken.count(Folded(WithSuffix(claim.output, suffix))))
            return WithSuffix(claim.output, suffix);
    for (int64_t n = 2;; ++n) {
        const String candidate = WithSuffix(claim.output, u" (" + IntToText(n) + u")");
        if (!taken.count(Folded(candidate)))
            return candidate;
    }
}

} // namespace

bool ParseCollidePolicy(StringView text, CollidePolicy& out) {
    if (EqualsNoCase(text, u"suffix"))
        out = CollidePolicy::kSuffix;
    else if (EqualsNoCase(text, u"skip"))
        out = CollidePolicy::kSkip;
    else
        return false;
    return true;
}

void SettleCollisions(std::vector<OutputClaim>& claims, const StringList& sources,
                      CollidePolicy policy) {
    std::map<String, Holder> taken;
    for (const String& s : sources)
        taken.emplace(Folded(s), Holder{s, String(), true});
    std::vector<size_t> order(claims.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        return Folded(claims[a].source) < Folded(claims[b].source);
    });
    for (size_t i : order) {
        OutputClaim& claim = claims[i];
        const auto held = taken.find(Folded(claim.output));
        if (held == taken.end()) {
            taken.emplace(Folded(claim.output), Holder{claim.source, claim.disc, false});
            continue;
        }
        const String clash =
            u"'" + FileNamePart(claim.output) + u"' is taken by " + HolderText(held->second);
        if (policy == CollidePolicy::kSkip) {
            claim.skipped = true;
            claim.note = u"not converted: " + clash;
            continue;
        }
        claim.output = FreeName(claim, held->second, taken);
        claim.note = u"named '" + FileNamePart(claim.output) + u"': " + clash;
        taken.emplace(Folded(claim.output), Holder{claim.source, claim.disc, false});
    }
}

} // namespace wm
