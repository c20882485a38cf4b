#include "files/PathText.h"

#include <string>

namespace wm {

namespace {

size_t LastSeparator(StringView path) {
    return path.find_last_of(u"\\/");
}

bool IsDriveAbsolute(StringView path) {
    return path.size() >= 3 && path[1] == u':' && IsSeparator(path[2]) &&
           ((path[0] >= u'A' && path[0] <= u'Z') || (path[0] >= u'a' && path[0] <= u'z'));
}

String Decimal(int64_t n) {
    std::string text = std::to_string(n);
    return String(text.begin(), text.end());
}

} // namespace

bool IsSeparator(char16_t c) {
    return c == u'\\' || c == u'/';
}

bool IsUnc(StringView path) {
    return path.size() >= 2 && path[0] == u'\\' && path[1] == u'\\';
}

String LongPathForm(StringView path, size_t limit, bool* unusable) {
    bool bad = path.empty() || path.find(u'\0') != StringView::npos;
    String out(path);
    if (!bad && !IsUnc(path) && path.size() >= limit) {
        if (IsDriveAbsolute(path)) {
            for (char16_t& c : out)
                if (c == u'/')
                    c = u'\\';
            String prefixed;
            prefixed.reserve(out.size() + 4);
            prefixed.append(u"\\\\?\\").append(out);
            out = std::move(prefixed);
        } else {
            bad = true;
        }
    }
    if (unusable)
        *unusable = bad;
    return out;
}

String FolderPart(StringView path) {
    size_t pos = LastSeparator(path);
    return pos == StringView::npos ? String() : String(path.substr(0, pos + 1));
}

String FileNamePart(StringView path) {
    size_t pos = LastSeparator(path);
    return String(pos == StringView::npos ? path : path.substr(pos + 1));
}

String ExtensionOf(StringView path) {
    size_t dot = path.rfind(u'.');
    size_t sep = LastSeparator(path);
    if (dot == StringView::npos || (sep != StringView::npos && dot < sep))
        return String();
    return String(path.substr(dot));
}

String ParentFolder(StringView path) {
    bool trailing = !path.empty() && IsSeparator(path.back());
    StringView body = trailing ? path.substr(0, path.size() - 1) : path;
    size_t pos = LastSeparator(body);
    if (pos == StringView::npos)
        return String();
    String parent(body.substr(0, pos));
    if (trailing)
        parent.push_back(u'\\');
    return parent;
}

bool StripToParent(String& path) {
    String parent = ParentFolder(path);
    if (parent.empty())
        return false;
    path = std::move(parent);
    return true;
}

String EnsureTrailingSeparator(StringView path) {
    String out(path);
    if (out.empty() || !IsSeparator(out.back()))
        out.push_back(u'\\');
    return out;
}

bool IsDeviceName(StringView path) {
    String name = FileNamePart(path);
    name = name.substr(0, name.find(u'.'));
    while (!name.empty() && name.back() == u' ')
        name.pop_back();
    for (const char16_t* device : {u"CON", u"PRN", u"AUX", u"NUL"})
        if (EqualsNoCase(name, device))
            return true;
    return name.size() == 4 && (StartsWithNoCase(name, u"COM") || StartsWithNoCase(name, u"LPT")) &&
           name[3] >= u'1' && name[3] <= u'9';
}

bool MayEnterFolder(StringView path) {
    while (!path.empty() && IsSeparator(path.back()))
        path.remove_suffix(1);
    size_t pos = LastSeparator(path);
    StringView last = pos == StringView::npos ? path : path.substr(pos + 1);
    for (StringView skipped : {u"@Recycle", u"#recycle", u"$RECYCLE.BIN", u"@tmp", u"@eaDir"})
        if (EqualsNoCase(last, skipped))
            return false;
    return true;
}

String RewriteTempName(StringView target, uint32_t pid, int n) {
    String name = String(target) + u".p" + Decimal(pid);
    if (n != 0)
        name += u"." + Decimal(n);
    return name + u".rewrite.tmp";
}

} // namespace wm
