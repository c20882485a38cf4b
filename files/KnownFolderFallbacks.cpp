#include "files/KnownFolderFallbacks.h"

#include "files/PathText.h"

namespace wm {

namespace {

struct Fallback {
    int asked;
    int builtFrom;
    const char16_t* appended;
};

constexpr Fallback kFallbacks[] = {
    {26, 5, u"Application Data\\"}, {43, kFolderProgramFiles, u"Common\\"},
    {13, 5, u"My Music\\"},         {39, 5, u"My Pictures\\"},
    {14, 5, u"My Video\\"},         {53, 46, u"My Music\\"},
    {54, 46, u"My Pictures\\"},     {55, 46, u"My Video\\"},
};

String FromFallbackTable(int id, const FolderSource& source) {
    for (const Fallback& f : kFallbacks) {
        if (f.asked != id)
            continue;
        String base = source(f.builtFrom);
        if (base.empty())
            return String();
        // Application data sits beside the documents folder, not inside it.
        if (id == 26)
            base = ParentFolder(base);
        if (base.empty())
            return String();
        return EnsureTrailingSeparator(base) + f.appended;
    }
    return String();
}

} // namespace

String ResolveSpecialFolder(int id, StringView fallback, const FolderSource& source) {
    String result = fallback.empty() ? String(u"C:\\Error") : String(fallback);
    String found = source(id);
    if (found.empty())
        found = FromFallbackTable(id, source);
    if (!found.empty())
        result = std::move(found);
    result = EnsureTrailingSeparator(result);
    if (result == u"\\")
        result.clear();
    return result;
}

String DriveTypeText(unsigned driveType) {
    switch (driveType) {
    case 2:
        return u"Removable Disk";
    case 3:
        return u"Hard Disk";
    case 4:
        return u"Network Drive";
    case 5:
        return u"CD-ROM Drive";
    case 6:
        return u"RAM Disk";
    default:
        return String();
    }
}

} // namespace wm
