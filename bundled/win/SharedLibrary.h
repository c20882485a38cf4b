// The third-party DLLs that ship beside Wavemill.exe, loaded before a plug-in's first call into
// them: their imports are delayed, and a delayed import that cannot be loaded would crash.
#pragma once

namespace wm::bundled {

// Loads `name` (for example u"libmpg123.dll") from the program's folder, once per process;
// false when it is missing or broken.
bool LoadBesideProgram(const char16_t* name);

} // namespace wm::bundled
