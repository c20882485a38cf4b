// The run's talk with people and the parent: the console writer with its sinks and log pipes,
// the debug log (one run in debug mode), and the relay worker that drains the pipes every 50 ms
// and fails the run when an error line arrives. It outlives everything else the run owns, so
// that what the plug-ins log while they are released still reaches the sinks.
#pragma once

#include "converter/Console.h"
#include "flow/RunStatus.h"
#include "process/EventHandle.h"
#include "process/UniqueHandle.h"
#include "process/WorkerThread.h"
#include "text/String.h"

#include <atomic>

namespace wm {

class RunConsole {
  public:
    explicit RunConsole(RunStatus& status) : status_(status) {}
    ~RunConsole();
    RunConsole(const RunConsole&) = delete;
    RunConsole& operator=(const RunConsole&) = delete;

    // Debug mode when the registry asks for it, the standard handles, the log's outlets and the
    // relay. False when standard output cannot be had.
    bool Open(const String& programFolder);
    // How the relay treats what it drains; the command file and the options change it.
    void SetMode(bool parentMode, bool silent);
    // Waits until the relay has drained everything logged so far: the verdict follows.
    void Settle() { relay_.Stop(true); }

    void Write(StringView text, bool lineEnd = false) { console_.Write(text, lineEnd); }
    Console& Writer() { return console_; }
    void SetErrorSink(UniqueHandle file) { console_.SetErrorSink(std::move(file)); }
    // On exactly when debug mode opened a debug log: the "File Size Check" lines.
    bool FileSizeDiagnostics() const { return debugFile_.valid(); }

  private:
    void StartDebugViewer(const String& programFolder);
    bool Drain() { return console_.Drain(parentMode_, silent_, status_); }

    RunStatus& status_;
    Console console_;
    UniqueHandle debugFile_;
    EventHandle debugWatchEvent_;
    std::atomic<bool> parentMode_{false}, silent_{false};
    WorkerThread relay_;
};

} // namespace wm
