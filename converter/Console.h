// Console and parent output: the info and error sinks (standard output and standard error, or
// the error file), the two log pipes, and the relay that drains the pipes onto the sinks.
#pragma once

#include "flow/RunStatus.h"
#include "process/UniqueHandle.h"
#include "text/String.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <vector>

namespace wm {

class Console {
  public:
    // Takes the standard handles and makes the two log pipes. False when standard output
    // cannot be had.
    bool Init();

    // UTF-16 text to standard output: WriteConsoleW on a real console, raw bytes otherwise.
    void Write(StringView text, bool lineEnd = false);

    // One error line straight to the error sink, past the pipes and the relay: a crashed run's
    // last words, when the relay may never run again.
    void WriteErrorNow(StringView line) { WriteTo(stdErr_, errIsConsole_, line, true); }

    // Replaces standard error by a file the console now owns (the errorfile option).
    void SetErrorSink(UniqueHandle file);

    // Moves whatever waits in the pipes to the sinks. An error line fails the run, whatever the
    // mode. Returns true when it found something.
    bool Drain(bool parentMode, bool silent, RunStatus& status);

    HANDLE ErrorPipeWrite() const { return errorWrite_.get(); }
    HANDLE InfoPipeWrite() const { return infoWrite_.get(); }

  private:
    static bool ReadWaiting(HANDLE pipe, std::vector<char>& into);
    static bool IsRealConsole(HANDLE h);
    static void WriteBytes(HANDLE h, const void* data, size_t size);
    void WriteTo(HANDLE h, bool console, StringView text, bool lineEnd);

    HANDLE stdOut_ = INVALID_HANDLE_VALUE;
    HANDLE stdErr_ = INVALID_HANDLE_VALUE;
    bool outIsConsole_ = false;
    bool errIsConsole_ = false;
    UniqueHandle errorFile_;
    UniqueHandle errorRead_, errorWrite_, infoRead_, infoWrite_;
    std::vector<char> scratch_;
};

} // namespace wm
