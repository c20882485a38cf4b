#include "batch/Supervisor.h"

#include "text/NumberText.h"

#include <atomic>

namespace wm {

namespace {

// "crashed (<dump>)", followed by the converter's own line when it wrote one: the plug-in, the
// call it was in and the exception (the dump it names is already said).
String CrashReason(const String& dumpPath, StringView converterLine) {
    String reason = u"crashed (" + dumpPath + u")";
    if (converterLine.starts_with(u"Error: "))
        converterLine.remove_prefix(7);
    const size_t dumpNote = converterLine.find(u" Crash dump: ");
    if (dumpNote != StringView::npos)
        converterLine = converterLine.substr(0, dumpNote);
    if (converterLine.find(u" crashed") != StringView::npos)
        reason += u": " + String(converterLine);
    return reason;
}

std::atomic<uint32_t> lostStartsMadeAgain{0};

} // namespace

uint32_t LostStartsMadeAgain() {
    return lostStartsMadeAgain;
}

Supervisor::Supervisor(ConverterPort& port, const SupervisionPolicy& policy)
    : port_(port), policy_(policy), watch_(0, policy.hangMs) {}

bool Supervisor::Start(uint64_t nowMs) {
    watch_ = HangWatch(nowMs, policy_.hangMs);
    switch (port_.Launch(startProblem_)) {
    case ConverterPort::StartResult::kStarted:
        started_ = true;
        return true;
    case ConverterPort::StartResult::kRefused:
        verdict_ = Verdict::kRefusedStart;
        return false;
    case ConverterPort::StartResult::kFailed:
        verdict_ = Verdict::kStartFailed;
        return false;
    }
    return false;
}

bool Supervisor::Poll(uint64_t nowMs) {
    if (verdict_ != Verdict::kRunning)
        return false;
    sight_ = port_.Look();
    everBeat_ = everBeat_ || sight_.heartbeat;
    if (sight_.ended) {
        verdict_ = Decide();
        return verdict_ == Verdict::kLostStart && !startedAgain_ && StartAgain(nowMs);
    }
    if (sight_.heartbeat)
        watch_.Beat(nowMs);
    watch_.Progress(nowMs, sight_.percent, sight_.bytesEncoded);
    // A crashing converter writes its dump while nothing moves, then ends itself.
    if (!sight_.crashDump.empty() && dumpSeenMs_ == 0)
        dumpSeenMs_ = nowMs;
    const HangKind hang = watch_.Hung(nowMs);
    if (hang == HangKind::kNone || (dumpSeenMs_ != 0 && nowMs - dumpSeenMs_ < policy_.dumpGraceMs))
        return true;
    port_.EndNow();
    verdict_ = hang == HangKind::kHeartbeat ? Verdict::kHungHeartbeat : Verdict::kHungProgress;
    return false;
}

// A start the system lost (Wine refusing to map a new process) is the one failure that may be
// tried again: once, and said in the file's notes and the summary.
bool Supervisor::StartAgain(uint64_t nowMs) {
    startedAgain_ = true;
    ++lostStartsMadeAgain;
    verdict_ = Verdict::kRunning;
    sight_ = ConverterSight{};
    return Start(nowMs);
}

void Supervisor::Stop() {
    if (!started_ || verdict_ != Verdict::kRunning)
        return;
    stopped_ = true;
    port_.AskToQuit();
}

void Supervisor::Kill() {
    if (!started_ || verdict_ != Verdict::kRunning)
        return;
    killed_ = true;
    port_.EndNow();
}

// The order matters: a dump outranks the status it ended with, the user's stop outranks the
// failure line the stop brings, and a status 0 is believed only with an output.
Verdict Supervisor::Decide() const {
    if (!sight_.crashDump.empty())
        return Verdict::kCrashed;
    if (killed_)
        return Verdict::kKilled;
    if (stopped_)
        return Verdict::kStopped;
    // Every failure of a converter that ran says why; one that never beat and said nothing, or
    // only Wine's words that it could not map the new process, never reached its first line:
    // the system lost the start.
    if (sight_.exitCode != 0 && !everBeat_ && (sight_.firstError.empty() || sight_.wineCouldNotMap))
        return Verdict::kLostStart;
    if (sight_.exitCode != 0 && sight_.firstError.empty())
        return Verdict::kFailedWithoutLine;
    if (sight_.exitCode != 0)
        return Verdict::kFailed;
    return sight_.outputWritten ? Verdict::kDone : Verdict::kFailedWithoutLine;
}

String Supervisor::Reason() const {
    const String limit = IntToText(static_cast<int64_t>(policy_.hangMs / 1000)) + u" s";
    switch (verdict_) {
    case Verdict::kRunning:
    case Verdict::kDone:
        return {};
    case Verdict::kFailed:
        return sight_.firstError;
    case Verdict::kFailedWithoutLine:
        return sight_.exitCode != 0
                   ? u"exit status " + IntToText(sight_.exitCode) + u" and no error line"
                   : String(u"the converter ended without an output (status 0, no crash dump)");
    case Verdict::kLostStart:
        return u"exit status " + IntToText(sight_.exitCode) +
               u" before the converter ran (no heartbeat, no line), twice: the system lost the "
               u"start";
    case Verdict::kCrashed:
        return CrashReason(sight_.crashDump, sight_.firstError);
    case Verdict::kHungHeartbeat:
        return u"hung: no heartbeat for " + limit + u", ended";
    case Verdict::kHungProgress:
        return u"hung: no progress for " + limit + u", ended";
    case Verdict::kRefusedStart:
        return u"the system refused to start the converter (error 1359, every attempt)";
    case Verdict::kStartFailed:
        return startProblem_;
    case Verdict::kStopped:
        return u"stopped by Ctrl-C";
    case Verdict::kKilled:
        return u"ended by a second Ctrl-C";
    }
    return {};
}

} // namespace wm
