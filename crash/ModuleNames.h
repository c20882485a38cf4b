// Names of the code at an address, read from the loaded modules themselves: what a crash line
// needs, without symbols.
#pragma once

#include "text/String.h"

namespace wm {

// File-name part of the module holding address; empty when no module holds it.
String ModuleFileNameAt(const void* address);

// The export name under which the module holding address exports exactly that address; empty
// when it exports none there.
String ExportNameAt(const void* address);

} // namespace wm
