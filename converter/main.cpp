// Process entry: the run object does the whole conversion; the exit status is the run status.
#include "converter/TwWavemill.h"

#include <memory>

int wmain() {
    // The crash handler ("Tonewerk Wavemill", dumps under %APPDATA%\Vrx\crashes) is installed
    // here once the crash reporter lands; until then a crash ends the process as Windows does.
    auto run = std::make_unique<wm::TwWavemill>();
    run.reset();
    return wm::TheRunStatus().ExitStatus();
}
