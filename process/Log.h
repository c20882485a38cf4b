// The run's log: one process-wide object with three outlets (error pipe, information pipe,
// debug file). Every line goes through one lock so that threads and plug-ins never interleave.
#pragma once

#include "text/String.h"

namespace wm {

// Ordinary line: reaches only the debug file (when debug mode opened one).
// "->->" lines indent what follows by two spaces; "<-<-" lines undo it.
void LogLine(StringView text, const char* context = nullptr, bool lineEnd = true);
// Error line: "*** Error: " in the debug file, the bare text (with its context) in the error
// pipe; the console relay fails the run when it drains it.
void LogError(StringView text, const char* context = nullptr);
// Information line: "*** Information: " in the debug file, the bare text in the info pipe.
void LogInfo(StringView text, const char* context = nullptr);

// Convenience for entry/exit pairs: logs "->->" on construction and "<-<-" on destruction.
class LogScope {
  public:
    explicit LogScope(const char* context) : context_(context) { LogLine(u"->->", context_); }
    ~LogScope() { LogLine(u"<-<-", context_); }
    LogScope(const LogScope&) = delete;
    LogScope& operator=(const LogScope&) = delete;

  private:
    const char* context_;
};

// The opaque pointer handed to every plug-in's create call.
void* LogHostContext();

} // namespace wm
