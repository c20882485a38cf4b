// The other decoder plug-ins in the cue decoder's own folder and what each reads: the image of a
// disc is read by whichever of them reads its file.
#pragma once

#include "bundled/win/SiblingDecoder.h"
#include "text/String.h"

#include <vector>

namespace wm::bundled {

// The names of the files (not folders) in `folder` (ending in a separator) matching `mask`.
StringList FileNamesIn(const String& folder, StringView mask);

// A decoder library beside this one and the extensions it reads.
struct SiblingLibrary {
    String path;
    StringList extensions;
};

// The decoder libraries beside this one (itself left out), each asked once what it reads.
std::vector<SiblingLibrary> SiblingCatalog();

// Every extension in the catalog.
StringList CatalogExtensions(const std::vector<SiblingLibrary>& catalog);

// Opens `info.path` (info zeroed but for path and mode) with the library that claims its
// extension, else with the first that opens it. False with the claiming decoder's reason.
bool OpenWithSibling(SiblingDecoder& decoder, const std::vector<SiblingLibrary>& catalog,
                     DecodeOpenInfo& info, String& reason);

} // namespace wm::bundled
