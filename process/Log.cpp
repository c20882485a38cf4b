#include "process/Log.h"
#include "process/LogOutlets.h"

#include <windows.h>

#include <mutex>

namespace wm {

namespace {

struct LogState {
    std::mutex lock;
    HANDLE errorPipe = nullptr;
    HANDLE infoPipe = nullptr;
    HANDLE debugFile = nullptr;
    String indent;
    bool lastEnded = true;
};

LogState& State() {
    static LogState state;
    return state;
}

void WriteText(HANDLE h, const String& text) {
    if (!h || h == INVALID_HANDLE_VALUE || text.empty())
        return;
    DWORD written = 0;
    WriteFile(h, text.data(), static_cast<DWORD>(text.size() * sizeof(char16_t)), &written,
              nullptr);
}

void AppendContext(String& line, const char* context) {
    if (!context)
        return;
    line += u"  [";
    line += Widen(context);
    line += u']';
}

// Writes one line to the debug file with indentation handling; caller holds the lock.
void WriteDebugLine(LogState& s, StringView text, const char* context, bool lineEnd,
                    const char16_t* prefix) {
    if (text.substr(0, 4) == u"<-<-" && s.indent.size() >= 2)
        s.indent.resize(s.indent.size() - 2);
    String line;
    if (prefix)
        line = prefix;
    else if (s.lastEnded)
        line = s.indent;
    line += text;
    if (lineEnd) {
        AppendContext(line, context);
        line += u"\r\n";
    }
    WriteText(s.debugFile, line);
    if (text.substr(0, 4) == u"->->")
        s.indent += u"  ";
    s.lastEnded = lineEnd;
}

void LogToPipe(StringView text, const char* context, const char16_t* prefix, bool error) {
    LogState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    WriteDebugLine(s, text, context, true, prefix);
    String bare(text);
    AppendContext(bare, context);
    bare += u"\r\n";
    WriteText(error ? s.errorPipe : s.infoPipe, bare);
}

} // namespace

void SetLogOutlets(HANDLE errorPipe, HANDLE infoPipe, HANDLE debugFile) {
    LogState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    s.errorPipe = errorPipe;
    s.infoPipe = infoPipe;
    s.debugFile = debugFile;
}

void LogLine(StringView text, const char* context, bool lineEnd) {
    LogState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    WriteDebugLine(s, text, context, lineEnd, nullptr);
}

void LogError(StringView text, const char* context) {
    LogToPipe(text, context, u"*** Error: ", true);
}

void LogInfo(StringView text, const char* context) {
    LogToPipe(text, context, u"*** Information: ", false);
}

void* LogHostContext() {
    return &State();
}

} // namespace wm
