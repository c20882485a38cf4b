// How the batch watches one converter, as data and one engine: started through a port to the
// process layer, looked at on every poll (exit code, heartbeat, percent, bytes, a crash dump,
// its first error line), ended when it hangs, and given one verdict with its reason at the end.
// Portable: the process layer is behind ConverterPort, so every verdict is tested with a
// scripted converter.
#pragma once

#include "batch/HangWatch.h"
#include "text/String.h"

#include <cstdint>

namespace wm {

// One look at a converter.
struct ConverterSight {
    bool ended = false;
    uint32_t exitCode = 0;  // once ended
    bool heartbeat = false; // it beat since the last look
    int percent = 0;
    int64_t bytesEncoded = 0;
    String crashDump;             // a dump it wrote since its start (full path), or empty
    String firstError;            // its first error line, without the "  [context]" part
    bool outputWritten = false;   // once ended: its output file exists
    bool wineCouldNotMap = false; // Wine's words that it could not map the new process
};

// What the supervisor may do to a converter, and how it sees it.
class ConverterPort {
  public:
    enum class StartResult { kStarted, kRefused, kFailed };
    virtual ~ConverterPort() = default;
    // kRefused: the system refused every attempt (Wine's internal error); kFailed: anything
    // else, with the reason in problem.
    virtual StartResult Launch(String& problem) = 0;
    virtual void AskToQuit() = 0; // sets its quit event: it stops at its next block and fails
    virtual void EndNow() = 0;    // ends the process at once
    virtual ConverterSight Look() = 0;
};

// The policy, as data.
struct SupervisionPolicy {
    uint64_t hangMs = 60000;      // heartbeat silent, or percent and bytes standing, this long
    uint64_t dumpGraceMs = 60000; // a converter writing a dump may stand this long more
};

enum class Verdict {
    kRunning,
    kDone,              // status 0 and an output
    kFailed,            // a failure that said why
    kFailedWithoutLine, // a failure that said nothing, or status 0 without an output
    kLostStart,         // ended failed before its first heartbeat, no line of its own, twice
    kCrashed,
    kHungHeartbeat,
    kHungProgress,
    kRefusedStart,
    kStartFailed,
    kStopped, // the quit event, at the user's first Ctrl-C
    kKilled,  // ended at the user's second Ctrl-C
};

// How many converters of this process were started again after a lost start (the settings
// trial's included), for the batch's last lines.
uint32_t LostStartsMadeAgain();

class Supervisor {
  public:
    Supervisor(ConverterPort& port, const SupervisionPolicy& policy);

    // False when it did not start: the verdict says why.
    bool Start(uint64_t nowMs);
    // Takes one look; ends a hung converter, starts a lost start once more. True while it runs.
    bool Poll(uint64_t nowMs);
    void Stop();
    void Kill();

    Verdict Outcome() const { return verdict_; }
    // Empty for kDone (and while it runs).
    String Reason() const;
    // The last look, for the progress view and the report.
    const ConverterSight& Sight() const { return sight_; }
    // The system lost its first start and it was started again: said, never hidden.
    bool StartedAgain() const { return startedAgain_; }

  private:
    Verdict Decide() const;
    bool StartAgain(uint64_t nowMs);

    ConverterPort& port_;
    SupervisionPolicy policy_;
    HangWatch watch_;
    ConverterSight sight_;
    Verdict verdict_ = Verdict::kRunning;
    String startProblem_;
    uint64_t dumpSeenMs_ = 0;
    bool started_ = false, stopped_ = false, killed_ = false, everBeat_ = false;
    bool startedAgain_ = false;
};

} // namespace wm
