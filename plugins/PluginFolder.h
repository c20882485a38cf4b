// Where plug-ins live: a kind's folder beside the program, and the libraries in it.
#pragma once

#include "text/String.h"

namespace wm {

// programFolder + kind + "\" (a missing separator after the program folder is added).
String PluginFolder(StringView programFolder, StringView kind);
// Full paths of the "*.dll" files in `folder` (directories skipped), in the order the file
// system returns them. The folder is absolute: relative patterns would follow the current
// folder, not the program.
StringList PluginLibraries(const String& folder);

} // namespace wm
