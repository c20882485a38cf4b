#include "plugins/PluginFolder.h"

#include "files/Folders.h"
#include "files/PathText.h"

namespace wm {

String PluginFolder(StringView programFolder, StringView kind) {
    return EnsureTrailingSeparator(programFolder) + String(kind) + u"\\";
}

StringList PluginLibraries(const String& folder) {
    StringList libraries;
    FolderWalk walk;
    walk.Start(folder, u"*.dll", false);
    while (walk.Next()) {
        if (walk.IsFolder())
            continue;
        libraries.push_back(walk.Path());
    }
    return libraries;
}

} // namespace wm
