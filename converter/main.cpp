// Process entry: the crash handler first, then the run does the whole conversion; the exit
// status is the run status. Started with "crashed", the process only shows a crash report.
#include "converter/CommandLineText.h"
#include "converter/ParentChannels.h"
#include "converter/TwWavemill.h"
#include "crash/CrashHandler.h"
#include "flow/RunStatus.h"
#include "process/WinString.h"
#include "protocol/ConverterOptions.h"
#include "ui/dlgCrashReport.h"

#include <shlobj.h>

int wmain() {
    const wm::CrashReportSettings crashReports = wm::WavemillCrashReports();
    // Read before the run exists: the second copy must not touch the registry, the console or
    // any plug-in of the process that crashed.
    wm::OptionStore options;
    options.Fill(wm::OptionTextOfCommandLine(wm::FromW(::GetCommandLineW())));
    wm::String crashed;
    if (options.Find(wm::option::kCrashed, &crashed))
        return wm::RunCrashReporter(crashReports, crashed, &wm::ShowCrashReport);
#ifndef WAVEMILL_WITHOUT_CRASH_HANDLER
    wm::InstallCrashHandler(crashReports);
#endif

    // The run goes before the status is read (an error line its console drains last still
    // counts) and before the parent's channels close.
    wm::RunStatus status;
    wm::ParentChannels parent;
    {
        wm::TwWavemill run(status, parent);
        run.Run();
    }
    return status.ExitStatus();
}
