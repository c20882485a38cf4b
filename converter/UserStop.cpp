#include "converter/UserStop.h"

#include <windows.h>

#include <atomic>

namespace wm {

namespace {

std::atomic<bool> g_stopRequested{false};

BOOL WINAPI OnConsoleControl(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        return FALSE; // closing the console or logging off ends the process as usual
    g_stopRequested = true;
    return TRUE;
}

} // namespace

void CatchUserStop() {
    SetConsoleCtrlHandler(OnConsoleControl, TRUE);
}

bool UserStopRequested() {
    return g_stopRequested.load();
}

} // namespace wm
