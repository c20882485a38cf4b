#include "crash/CrashHandler.h"

#include "crash/CrashDumpName.h"
#include "crash/CrashText.h"
#include "crash/ForeignCall.h"
#include "crash/MiniDumpWriter.h"
#include "crash/ModuleNames.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/Folders.h"
#include "files/PathText.h"
#include "process/WinString.h"
#include "protocol/ConverterOptions.h"

#include <shellapi.h>

#include <atomic>
#include <csignal>

namespace wm {

namespace {

constexpr DWORD kStackOverflow = 0xC00000FD;
// What abort() becomes, so that it ends like any other crash.
constexpr DWORD kFatalAppExit = 0x40000015;
// Stack Windows keeps back on the main thread for the exception dispatch after an overflow
// (Wine does not; see the vectored handler below).
constexpr ULONG kStackGuarantee = 64 * 1024;
// A crash fails the run: a user, a script or a job runner must never take it for success.
constexpr UINT kCrashExitStatus = 1;
// The watcher may block on a lock the crashed thread holds; the process must end regardless.
constexpr DWORD kWatcherLimitMs = 30000;
// The dump writer runs deep inside dbghelp: give its thread room.
constexpr SIZE_T kWatcherStack = 1024 * 1024;

struct CrashState {
    CrashReportSettings settings;
    String programPath;
    bool disabled = false;
    CrashNoticeFn notice = nullptr;
    std::atomic<bool> handling{false};
    // The stack-overflow watcher, made at installation: an overflowed stack cannot start one.
    HANDLE watcher = nullptr;
    HANDLE request = nullptr;
    HANDLE done = nullptr;
    EXCEPTION_POINTERS* pending = nullptr;
    DWORD pendingThread = 0;
    // The first crash's facts, kept before its dump is written: a second crash (in the dump
    // writer, or on another thread) ends the process, and the line must still be said.
    CrashFacts first;
    std::atomic<bool> firstKnown{false};
    std::atomic<bool> told{false};
};

// Never freed: a crash can come at any time, even during the process's own shutdown.
CrashState* g_state = nullptr;

bool PathTaken(const String& path) {
    bool missing = false;
    PathAttributes(path, &missing);
    return !missing;
}

void StartSecondCopy(const String& dumpPath) {
    const String arguments = u"-" + String(option::kCrashed) + u" " + FileNamePart(dumpPath);
    ::ShellExecuteW(nullptr, L"open", W(g_state->programPath), W(arguments), nullptr, SW_SHOW);
}

// The dump's path, or empty when none could be written.
String WriteDump(EXCEPTION_POINTERS* exception, DWORD threadId) {
    String folder = CrashFolder(g_state->settings);
    CreateFolderPath(folder);
    String dumpPath = FreeCrashDumpPath(folder, ::GetCurrentProcessId(), &PathTaken);
    FileAccess file;
    if (dumpPath.empty() || !file.Open(dumpPath, GENERIC_WRITE, CREATE_ALWAYS))
        return {};
    bool written = WriteMiniDump(file.Handle(), exception, threadId);
    file.Close();
    // A half-written dump helps nobody and would only open an empty report.
    if (!written) {
        DeleteFilePath(dumpPath);
        return {};
    }
    return dumpPath;
}

CrashFacts FactsOf(const EXCEPTION_RECORD& record, const String& dumpPath) {
    CrashFacts facts;
    facts.code = record.ExceptionCode;
    if (facts.code == EXCEPTION_ACCESS_VIOLATION && record.NumberParameters >= 2) {
        facts.hasAccess = true;
        facts.accessKind = record.ExceptionInformation[0];
        facts.address = record.ExceptionInformation[1];
    }
    facts.faultModule = ModuleFileNameAt(record.ExceptionAddress);
    if (const void* entryPoint = ForeignCallInProgress()) {
        facts.pluginFile = ModuleFileNameAt(entryPoint);
        facts.entryPoint = ExportNameAt(entryPoint);
    }
    facts.dumpPath = dumpPath;
    return facts;
}

// The crash's line, once, whichever path gets there first.
void Tell(const CrashFacts& facts) {
    if (g_state->notice && !g_state->told.exchange(true))
        g_state->notice(CrashLine(facts));
}

void WriteReport(EXCEPTION_POINTERS* exception, DWORD threadId) {
    if (g_state->disabled)
        return;
    g_state->first = FactsOf(*exception->ExceptionRecord, {});
    g_state->firstKnown = true;
    CrashFacts facts = g_state->first;
    facts.dumpPath = WriteDump(exception, threadId);
    Tell(facts);
    if (!facts.dumpPath.empty())
        StartSecondCopy(facts.dumpPath);
}

DWORD WINAPI WatchForStackOverflow(void*) {
    if (::WaitForSingleObject(g_state->request, INFINITE) == WAIT_OBJECT_0) {
        WriteReport(g_state->pending, g_state->pendingThread);
        ::SetEvent(g_state->done);
    }
    return 0;
}

void StartWatcher() {
    g_state->request = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    g_state->done = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (g_state->request && g_state->done)
        g_state->watcher = ::CreateThread(nullptr, kWatcherStack, &WatchForStackOverflow, nullptr,
                                          STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
}

// An overflowed stack has no room for real work: hand the exception to the watcher and wait.
void ReportFromWatcher(EXCEPTION_POINTERS* exception) {
    if (!g_state->watcher)
        return;
    g_state->pending = exception;
    g_state->pendingThread = ::GetCurrentThreadId();
    ::SetEvent(g_state->request);
    ::WaitForSingleObject(g_state->done, kWatcherLimitMs);
}

LONG WINAPI CrashFilter(EXCEPTION_POINTERS* exception) {
    if (::IsDebuggerPresent())
        return ::UnhandledExceptionFilter(exception);
    // A second crash (another thread, or the report writer itself) must not start over.
    if (!g_state->handling.exchange(true)) {
        if (exception->ExceptionRecord->ExceptionCode == kStackOverflow)
            ReportFromWatcher(exception);
        else
            WriteReport(exception, ::GetCurrentThreadId());
    } else if (!g_state->disabled) {
        Tell(g_state->firstKnown ? g_state->first : FactsOf(*exception->ExceptionRecord, {}));
    }
    ::TerminateProcess(::GetCurrentProcess(), kCrashExitStatus);
    return EXCEPTION_EXECUTE_HANDLER;
}

// An overflowed stack leaves the exception dispatch too little room to unwind its way to the
// unhandled-exception filter (under Wine the thread dies on the way and the process hangs); a
// vectored handler is called before any frame is looked at.
LONG WINAPI StackOverflowFirst(EXCEPTION_POINTERS* exception) {
    if (exception->ExceptionRecord->ExceptionCode != kStackOverflow || ::IsDebuggerPresent())
        return EXCEPTION_CONTINUE_SEARCH;
    return CrashFilter(exception);
}

void InstallFilters() {
    ::AddVectoredExceptionHandler(1, &StackOverflowFirst);
}

// An uncaught C++ exception (one a plug-in throws, say) ends in std::terminate and abort(); the
// runtime library's abort raises SIGABRT first, for every module of the process.
void OnAbort(int) {
    ::RaiseException(kFatalAppExit, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

String OwnProgramPath() {
    String path(MAX_PATH, u'\0');
    for (;;) {
        DWORD n = ::GetModuleFileNameW(nullptr, W(path), static_cast<DWORD>(path.size()));
        if (n < path.size()) {
            path.resize(n);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

void MakeState(const CrashReportSettings& settings) {
    if (!g_state)
        g_state = new CrashState;
    g_state->settings = settings;
}

} // namespace

String CrashFolder(const CrashReportSettings& settings) {
    return EnsureTrailingSeparator(SpecialFolder(settings.baseFolderId) + settings.baseSubfolder) +
           u"crashes\\";
}

LPTOP_LEVEL_EXCEPTION_FILTER InstallCrashHandler(const CrashReportSettings& settings) {
    MakeState(settings);
    g_state->programPath = OwnProgramPath();
    StartWatcher();
    ULONG guarantee = kStackGuarantee;
    ::SetThreadStackGuarantee(&guarantee);
    std::signal(SIGABRT, &OnAbort);
    InstallFilters();
    return ::SetUnhandledExceptionFilter(&CrashFilter);
}

void SetCrashNotice(CrashNoticeFn notice) {
    if (g_state)
        g_state->notice = notice;
}

int RunCrashReporter(const CrashReportSettings& settings, StringView crashedValue,
                     ShowCrashReportFn show) {
    MakeState(settings);
    g_state->disabled = true;
    InstallFilters();
    ::SetUnhandledExceptionFilter(&CrashFilter);
    // Started by a program without a console, this copy would get a console window of its own.
    ::FreeConsole();
    String dumpPath = CrashDumpOfValue(CrashFolder(settings), crashedValue);
    if (!dumpPath.empty() && FileExists(dumpPath) && show)
        show(settings.title, dumpPath);
    return 0;
}

} // namespace wm
