// The safety net installed before anything else runs. An unhandled exception (most often inside
// a plug-in) writes a minidump into the crashes folder, hands an error line naming the plug-in,
// its call and the exception to the notice the program set, starts a second copy of the program
// to show the crash report, and ends the process with exit status 1. Every step is best effort.
#pragma once

#include "text/String.h"

#include <windows.h>

namespace wm {

struct CrashReportSettings {
    String title;         // application display name
    int baseFolderId = 0; // special folder (CSIDL) that holds the base folder
    String baseSubfolder; // base folder below it; dumps go into its "crashes" folder
};

// Wavemill's own: parent programs look for its dumps with them.
inline CrashReportSettings WavemillCrashReports() {
    return {u"Tonewerk Wavemill", 0x001a /* CSIDL_APPDATA */, u"Vrx"};
}

// Base folder + "crashes\". Resolving a special folder loads the shell, which brings the window
// system with it: only a crash or the second copy asks.
String CrashFolder(const CrashReportSettings& settings);

// Installs the unhandled-exception filter; returns the previous one. Cheap: dump folder and
// name are worked out only when a crash happens.
LPTOP_LEVEL_EXCEPTION_FILTER InstallCrashHandler(const CrashReportSettings& settings);

// Where the crash's error line goes: set once the program has its error outlets. The notice runs
// on a crashed process, so it must take no lock and allocate as little as it can.
using CrashNoticeFn = void (*)(const String& line);
void SetCrashNotice(CrashNoticeFn notice);

// The second copy, told of a dump by the "crashed" option: shows the report through show when
// that dump exists in the crashes folder. A crash of the second copy itself ends it quietly, so
// reports never chain. Returns the exit code, always 0.
using ShowCrashReportFn = void (*)(const String& title, const String& dumpPath);
int RunCrashReporter(const CrashReportSettings& settings, StringView crashedValue,
                     ShowCrashReportFn show);

} // namespace wm
