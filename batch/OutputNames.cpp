#include "batch/OutputNames.h"

#include "files/PathText.h"

#include <algorithm>
#include <array>
#include <utility>

namespace wm {

namespace {

constexpr StringView kTempMark = u".wmbatch-part";
constexpr size_t kMaxNamePart = 200;

String ReplaceExtension(StringView path, StringView extension) {
    const String ext = ExtensionOf(path);
    return String(path.substr(0, path.size() - ext.size())) + String(extension);
}

String NumberPart(StringView value, size_t width) {
    String n(value.substr(0, value.find(u'/')));
    while (!n.empty() && n.front() == u' ')
        n.erase(0, 1);
    while (n.size() < width)
        n.insert(0, 1, u'0');
    return n;
}

String Capitalised(StringView word) {
    String w(word);
    if (!w.empty() && w[0] >= u'a' && w[0] <= u'z')
        w[0] = static_cast<char16_t>(w[0] - u'a' + u'A');
    return w;
}

// One name per tag however the pattern spells it: %album artist%, %albumartist% and
// %album_artist% are one field, as are %track% and %tracknumber%, %disc% and %discnumber%,
// %year% and %date%. The result is the name the tag set uses.
String TagName(StringView field) {
    String squeezed;
    for (char16_t c : field)
        if (c != u' ' && c != u'_' && c != u'-')
            squeezed += (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c;
    static constexpr std::array<std::pair<StringView, StringView>, 4> kAliases = {{
        {u"albumartist", u"album artist"},
        {u"tracknumber", u"track"},
        {u"discnumber", u"disc"},
        {u"date", u"year"},
    }};
    for (const auto& [alias, name] : kAliases)
        if (squeezed == alias)
            return String(name);
    return squeezed;
}

String FieldValue(StringView field, const TagLookup& tags, StringView sourcePath) {
    const String stem = ReplaceExtension(FileNamePart(sourcePath), u"");
    const String name = TagName(field);
    if (name == u"filename")
        return stem;
    String value = tags(name);
    if (name == u"album artist" && value.empty())
        value = tags(u"artist");
    if (name == u"track")
        return value.empty() ? String(u"00") : NumberPart(value, 2);
    if (name == u"disc")
        return value.empty() ? String(u"1") : NumberPart(value, 1);
    if (!value.empty())
        return value;
    if (name == u"title")
        return stem;
    return u"Unknown " + Capitalised(name == u"album artist" ? u"artist" : name);
}

// Splits the filled pattern into names at "\" and "/" and makes each one safe.
String SafeRelativePath(StringView filled) {
    String path;
    size_t start = 0;
    while (start <= filled.size()) {
        size_t end = filled.find_first_of(u"\\/", start);
        if (end == StringView::npos)
            end = filled.size();
        const StringView part = filled.substr(start, end - start);
        if (!part.empty())
            path += (path.empty() ? u"" : u"\\") + SafeNamePart(part);
        start = end + 1;
    }
    return path.empty() ? String(u"_") : path;
}

} // namespace

String SafeNamePart(StringView text) {
    String name;
    for (char16_t c : text)
        name += (c < 32 || StringView(u"<>:\"/\\|?*").find(c) != StringView::npos) ? u'_' : c;
    if (name.size() > kMaxNamePart)
        name.resize(kMaxNamePart);
    while (!name.empty() && (name.back() == u'.' || name.back() == u' '))
        name.pop_back();
    if (name.empty() || IsDeviceName(name))
        name.insert(0, 1, u'_');
    return name;
}

String SelectedFolderPrefix(StringView folder, StringView outFolder) {
    if (EqualsNoCase(EnsureTrailingSeparator(folder), EnsureTrailingSeparator(outFolder)))
        return String();
    String trimmed(folder);
    while (!trimmed.empty() && IsSeparator(trimmed.back()))
        trimmed.pop_back();
    const String name = FileNamePart(trimmed);
    return name.empty() || name.back() == u':' ? String() : name + u"\\";
}

String MirroredOutput(StringView outFolder, StringView relative, StringView extension) {
    return EnsureTrailingSeparator(outFolder) + ReplaceExtension(relative, extension);
}

String PatternOutput(StringView outFolder, StringView pattern, const TagLookup& tags,
                     StringView sourcePath, StringView extension) {
    String filled;
    for (size_t i = 0; i < pattern.size();) {
        const size_t close = pattern[i] == u'%' ? pattern.find(u'%', i + 1) : StringView::npos;
        if (close == StringView::npos) {
            filled += pattern[i++];
            continue;
        }
        // A tag value never makes folders: its separators are forbidden characters here.
        String value = FieldValue(pattern.substr(i + 1, close - i - 1), tags, sourcePath);
        std::replace(value.begin(), value.end(), u'\\', u'_');
        std::replace(value.begin(), value.end(), u'/', u'_');
        filled += value;
        i = close + 1;
    }
    return EnsureTrailingSeparator(outFolder) + SafeRelativePath(filled) + String(extension);
}

String BatchTempName(StringView output) {
    const String ext = ExtensionOf(output);
    return String(output.substr(0, output.size() - ext.size())) + String(kTempMark) + ext;
}

bool IsBatchTempName(StringView path) {
    const String ext = ExtensionOf(path);
    return EndsWithNoCase(path.substr(0, path.size() - ext.size()), kTempMark);
}

String DiscOf(const TagLookup& tags) {
    const String value = tags(u"disc");
    return value.empty() ? String() : NumberPart(value, 1);
}

} // namespace wm
