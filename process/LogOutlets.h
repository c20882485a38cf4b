// Wiring of the log's three outlets; only the run sets them up.
#pragma once

#include <windows.h>

namespace wm {

// Handles stay owned by the caller; pass nullptr for an outlet that does not exist.
void SetLogOutlets(HANDLE errorPipe, HANDLE infoPipe, HANDLE debugFile);

} // namespace wm
