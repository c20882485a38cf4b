#include "bundled/cue_decoder/SiblingCatalog.h"

#include <windows.h>

namespace wm::bundled {

namespace {

String ExtensionOfPath(StringView path) {
    const size_t dot = path.find_last_of(u'.');
    const size_t slash = path.find_last_of(u"\\/");
    if (dot == StringView::npos || (slash != StringView::npos && dot < slash))
        return {};
    return String(path.substr(dot));
}

bool TryOpen(SiblingDecoder& decoder, const String& library, DecodeOpenInfo& info) {
    const DecodeOpenInfo asked = info;
    if (decoder.Load(library) && decoder.Open(info))
        return true;
    info = asked;
    return false;
}

bool Claims(const SiblingLibrary& library, StringView extension) {
    for (const String& claimed : library.extensions)
        if (EqualsNoCase(claimed, extension))
            return true;
    return false;
}

StringList LibraryFiles() {
    const String self = ThisLibraryPath();
    const String folder = self.substr(0, self.find_last_of(u'\\') + 1);
    StringList libraries;
    for (const String& name : FileNamesIn(folder, u"*.dll"))
        if (!EqualsNoCase(folder + name, self))
            libraries.push_back(folder + name);
    return libraries;
}

} // namespace

StringList FileNamesIn(const String& folder, StringView mask) {
    StringList names;
    WIN32_FIND_DATAW found{};
    const String pattern = folder + String(mask);
    HANDLE search = FindFirstFileW(reinterpret_cast<const wchar_t*>(pattern.c_str()), &found);
    if (search == INVALID_HANDLE_VALUE)
        return names;
    do {
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
            names.push_back(reinterpret_cast<const char16_t*>(found.cFileName));
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return names;
}

std::vector<SiblingLibrary> SiblingCatalog() {
    std::vector<SiblingLibrary> catalog;
    SiblingDecoder decoder;
    for (const String& library : LibraryFiles())
        if (decoder.Load(library))
            catalog.push_back({library, decoder.Extensions()});
    return catalog;
}

StringList CatalogExtensions(const std::vector<SiblingLibrary>& catalog) {
    StringList all;
    for (const SiblingLibrary& library : catalog)
        all.insert(all.end(), library.extensions.begin(), library.extensions.end());
    return all;
}

bool OpenWithSibling(SiblingDecoder& decoder, const std::vector<SiblingLibrary>& catalog,
                     DecodeOpenInfo& info, String& reason) {
    const String extension = ExtensionOfPath(info.path);
    reason = u"no installed decoder reads '" + extension + u"' files";
    for (const SiblingLibrary& library : catalog) {
        if (!Claims(library, extension))
            continue;
        if (TryOpen(decoder, library.path, info))
            return true;
        reason = decoder.LastError();
        break;
    }
    for (const SiblingLibrary& library : catalog)
        if (TryOpen(decoder, library.path, info))
            return true;
    decoder.CloseFile();
    return false;
}

} // namespace wm::bundled
