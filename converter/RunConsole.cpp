#include "converter/RunConsole.h"

#include "crash/CrashHandler.h"
#include "files/Folders.h"
#include "files/PathText.h"
#include "files/SystemPath.h"
#include "process/LogOutlets.h"
#include "process/Registry.h"
#include "process/RunProcess.h"
#include "process/WinString.h"
#include "text/NumberText.h"

#include <windows.h>

namespace wm {

namespace {
constexpr uint32_t kRelayStopLimitMs = 60000;

// The console a crash reports to: the crash notice is a plain function.
Console* g_crashConsole = nullptr;

void NoticeCrash(const String& line) {
    if (g_crashConsole)
        g_crashConsole->WriteErrorNow(line);
}
} // namespace

RunConsole::~RunConsole() {
    // The relay drains everything still queued before it ends, so no error line is lost.
    relay_.Close();
    Drain();
    SetCrashNotice(nullptr);
    g_crashConsole = nullptr;
    SetLogOutlets(nullptr, nullptr, nullptr);
}

bool RunConsole::Open(const String& programFolder) {
    if (RegReadDword(u"Debug") != 0) {
        RegWriteDword(u"Debug", 0); // debug mode lasts one run
        StartDebugViewer(programFolder);
    }
    if (!console_.Init())
        return false;
    SetLogOutlets(console_.ErrorPipeWrite(), console_.InfoPipeWrite(), debugFile_.get());
    g_crashConsole = &console_;
    SetCrashNotice(&NoticeCrash);
    relay_.Start(
        [this](EventHandle& stop) {
            while (!stop.Wait(50))
                Drain();
            while (Drain()) {
            }
        },
        false, kRelayStopLimitMs);
    return true;
}

void RunConsole::SetMode(bool parentMode, bool silent) {
    parentMode_ = parentMode;
    silent_ = silent;
}

void RunConsole::StartDebugViewer(const String& programFolder) {
    const String name = TempFile(u"", u".TXT", u"DBG");
    String systemName;
    if (!SystemPathForm(name, kOpenPathLimit, systemName))
        return;
    HANDLE h =
        CreateFileW(W(systemName), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return;
    debugFile_.reset(h);
    String eventName;
    do {
        eventName = u"TwDGB" + IntToText(GetTickCount());
        debugWatchEvent_.CreateOrOpen(eventName);
        if (debugWatchEvent_.AlreadyExisted())
            Sleep(1);
    } while (debugWatchEvent_.AlreadyExisted());
    RunProcess(programFolder + u"Peekinfo.exe",
               u"-DebugWatch=\"" + eventName + u"\" -DebugFile=\"" + name + u"\"", false, 0, false,
               CREATE_NO_WINDOW | NORMAL_PRIORITY_CLASS, false);
}

} // namespace wm
