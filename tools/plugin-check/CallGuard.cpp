#include "tools/plugin-check/CallGuard.h"

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace wm::check {

namespace {

std::atomic<const char*> g_call{nullptr};
std::atomic<uint64_t> g_callStart{0};
const char* g_lastCall = nullptr; // the plug-in call that returned last
Report* g_report = nullptr;
uint64_t g_limitMs = uint64_t{kDefaultCallLimitSeconds} * 1000;

// Nothing more can be trusted after a crash or a hang caused by the plug-in.
[[noreturn]] void ReportAndEnd(Rule rule, const char* text) {
    if (g_report)
        g_report->FinalViolation(rule, text);
    ::TerminateProcess(::GetCurrentProcess(), 1);
    std::abort();
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* info) {
    const DWORD code = info->ExceptionRecord->ExceptionCode;
    const bool fatal = code == EXCEPTION_ACCESS_VIOLATION ||
                       code == EXCEPTION_ILLEGAL_INSTRUCTION ||
                       code == EXCEPTION_INT_DIVIDE_BY_ZERO || code == EXCEPTION_PRIV_INSTRUCTION ||
                       code == EXCEPTION_IN_PAGE_ERROR || code == EXCEPTION_ARRAY_BOUNDS_EXCEEDED;
    const char* call = g_call.load();
    if (!fatal || !call)
        return EXCEPTION_CONTINUE_SEARCH;
    char text[200];
    std::snprintf(text, sizeof text, "the plug-in crashed in %s (exception 0x%08lX)", call,
                  static_cast<unsigned long>(code));
    ReportAndEnd(Rule::Crash, text);
}

// A crash outside any plug-in call follows damage a call left behind, such as a heap block
// written past its end, which the heap notices only at its next use.
LONG CALLBACK OnUnhandled(EXCEPTION_POINTERS* info) {
    char text[400];
    std::snprintf(text, sizeof text,
                  "plugin-check crashed (exception 0x%08lX) after %s returned: the plug-in "
                  "damaged memory that is used later (a write past the end of a buffer?); the "
                  "host would crash or corrupt audio the same way",
                  static_cast<unsigned long>(info->ExceptionRecord->ExceptionCode),
                  g_lastCall ? g_lastCall : "the plug-in's last call");
    ReportAndEnd(Rule::MemoryDamaged, text);
}

DWORD WINAPI WatchForHangs(void*) {
    for (;;) {
        ::Sleep(250);
        const char* call = g_call.load();
        if (!call || ::GetTickCount64() - g_callStart.load() <= g_limitMs)
            continue;
        char text[300];
        std::snprintf(text, sizeof text,
                      "%s did not return within %llu s: the host would wait for it forever, "
                      "a converter that is alive and never finishes",
                      call, static_cast<unsigned long long>(g_limitMs / 1000));
        ReportAndEnd(Rule::CallHangs, text);
    }
}

} // namespace

CallGuard::CallGuard(const char* call) : previous_(g_call.load()), previousStart_(g_callStart) {
    g_callStart = ::GetTickCount64();
    g_call = call;
}

CallGuard::~CallGuard() {
    g_lastCall = g_call.load();
    g_call = previous_;
    g_callStart = previousStart_;
}

void WatchCalls(Report& report, uint32_t callLimitSeconds) {
    g_report = &report;
    g_limitMs = uint64_t{callLimitSeconds} * 1000;
    ::AddVectoredExceptionHandler(1, OnException);
    ::SetUnhandledExceptionFilter(OnUnhandled);
    ::CloseHandle(::CreateThread(nullptr, 0, WatchForHangs, nullptr, 0, nullptr));
}

void* HostContext() {
    static void* page = ::VirtualAlloc(nullptr, 4096, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS);
    return page;
}

} // namespace wm::check
