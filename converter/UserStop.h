// Ctrl-C and Ctrl-Break at the console take the same path as the parent's quit event: the
// loop stops, the run fails, an existing output is kept and the temporary output is deleted.
#pragma once

namespace wm {

// Installs the console handler; from then on Ctrl-C / Ctrl-Break only raise the flag.
void CatchUserStop();
bool UserStopRequested();

} // namespace wm
