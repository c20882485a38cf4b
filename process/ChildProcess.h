// A child process that a parent watches: its standard output and standard error come back
// through pipes that the parent drains without blocking, and it can be waited for, asked for
// its exit code, or ended. RunProcess serves the simpler start-and-maybe-wait case.
#pragma once

#include "process/UniqueHandle.h"
#include "text/String.h"

#include <cstdint>
#include <string>

namespace wm {

class ChildProcess {
  public:
    ChildProcess() = default;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Command line "program" arguments; standard input is NUL, standard output and error are
    // pipes. Only the pipes' child ends are made inheritable, each just for this start.
    bool Start(StringView program, StringView arguments, uint32_t creationFlags);

    // Appends what waits in the pipe; false once the pipe is closed and drained.
    bool ReadOutput(std::string& into) { return Drain(output_, into); }
    bool ReadErrors(std::string& into) { return Drain(errors_, into); }

    bool HasEnded() const;
    // The exit code once ended; STILL_ACTIVE before.
    uint32_t ExitCode() const;
    uint32_t Id() const { return id_; }
    // For waiting on several children at once; null when none was started.
    HANDLE Handle() const { return process_.get(); }
    void Terminate(uint32_t exitCode);

  private:
    static bool Drain(UniqueHandle& pipe, std::string& into);

    UniqueHandle process_;
    UniqueHandle output_;
    UniqueHandle errors_;
    uint32_t id_ = 0;
};

} // namespace wm
