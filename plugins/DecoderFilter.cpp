#include "plugins/DecoderFilter.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace wm {

namespace {

String JoinPatterns(const StringList& extensions, StringView separator) {
    String out;
    for (const String& ext : extensions) {
        if (!out.empty())
            out += separator;
        out += u"*" + ext;
    }
    return out;
}

} // namespace

String BuildDecoderFilter(bool allFilesEntry, const StringList& extensions,
                          const StringList& descriptions) {
    std::vector<std::pair<String, String>> pairs; // description, extension
    for (size_t i = 0; i < extensions.size() && i < descriptions.size(); ++i)
        pairs.emplace_back(descriptions[i], extensions[i]);
    // Stable, so extensions of one description keep the order the decoders gave them.
    std::stable_sort(pairs.begin(), pairs.end(), [](const auto& a, const auto& b) {
        return CompareNoCase(a.first, b.first) < 0;
    });

    String filter;
    if (allFilesEntry)
        filter += u"All Audio Files\r" + JoinPatterns(extensions, u";") + u"\r";
    // Groups are runs of exactly equal descriptions; the sort itself ignored case.
    for (size_t i = 0; i < pairs.size();) {
        StringList group;
        size_t j = i;
        for (; j < pairs.size() && pairs[j].first == pairs[i].first; ++j)
            group.push_back(pairs[j].second);
        filter += pairs[i].first + u"  (" + JoinPatterns(group, u"; ") + u")\r" +
                  JoinPatterns(group, u";") + u"\r";
        i = j;
    }
    return filter;
}

} // namespace wm
