#include "batch/Conversion.h"

#include "crash/CrashDumpName.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/PathText.h"
#include "text/NumberText.h"

namespace wm {

namespace {

// Long enough for a file held a moment by a virus scanner or an indexer.
constexpr uint32_t kMoveRetryMs = 2000;

uint64_t FileTimeNow() {
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    return (static_cast<uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
}

} // namespace

Conversion::Conversion(PlannedConversion plan, const ConversionSetup& setup, uint32_t number)
    : plan_(std::move(plan)), setup_(setup), number_(number), temp_(BatchTempName(plan_.output)) {}

Conversion::~Conversion() {
    if (!commandFile_.empty())
        DeleteFilePath(commandFile_);
}

bool Conversion::WriteCommandFile(const String& namesBase) {
    commandFile_ = setup_.commandFolder + u"job" + IntToText(number_) + u".twcmd";
    const String options =
        OptionText(u"infile", plan_.source.path) + OptionText(u"outfile", temp_) +
        OptionText(u"convert_to", setup_.codec) + OptionText(u"evtquit", namesBase + u"quit") +
        OptionText(u"evtafterconvseterror", namesBase + u"fail") +
        OptionText(u"evtwatchdog", namesBase + u"beat") +
        OptionText(u"shrbytesencoded", namesBase + u"bytes") + setup_.passThrough + plan_.options;
    FileAccess file;
    return file.Create(commandFile_) &&
           file.Write(options.data(), static_cast<uint32_t>(options.size() * sizeof(char16_t)));
}

bool Conversion::Start(uint64_t nowMs) {
    startMs_ = nowMs;
    startFileTime_ = FileTimeNow();
    watch_ = std::make_unique<HangWatch>(nowMs, setup_.hangMs);
    // A temporary file of ours left by a batch that was killed outright.
    DeleteFilePath(temp_);
    const String names = setup_.namePrefix + IntToText(number_) + u"-";
    // The batch makes every object first, so the converter only opens them.
    quit_.CreateOrOpen(names + u"quit");
    afterError_.CreateOrOpen(names + u"fail");
    heartbeat_.CreateOrOpen(names + u"beat");
    bytesEncoded_.Open(names + u"bytes", sizeof(int64_t));
    const int64_t zero = 0;
    bytesEncoded_.Write(&zero);
    if (!CreateFolderPath(FolderPart(plan_.output)))
        startProblem_ = u"cannot make the output folder " + Win32ErrorTextU();
    else if (!WriteCommandFile(names))
        startProblem_ = u"cannot write the command file '" + commandFile_ + u"'";
    // No console at all: the converter talks through its pipes and events, Ctrl-C reaches it as
    // the quit event, and a hidden console per converter costs Wine a console host each start.
    else if (!child_.Start(setup_.wavemill, OptionText(u"twcmd", commandFile_).substr(1),
                           DETACHED_PROCESS))
        startProblem_ = u"cannot start '" + setup_.wavemill + u"' " + Win32ErrorTextU();
    return startProblem_.empty();
}

void Conversion::ReadPipes() {
    std::string bytes;
    child_.ReadOutput(bytes);
    outLines_.Feed(bytes.data(), bytes.size());
    for (String line; outLines_.NextLine(line);)
        TakeParentLine(line, report_);
    bytes.clear();
    child_.ReadErrors(bytes);
    errLines_.Feed(bytes.data(), bytes.size());
    for (String line; errLines_.NextLine(line);)
        TakeErrorLine(line, report_);
}

bool Conversion::Poll(uint64_t nowMs) {
    if (!startProblem_.empty())
        return false;
    ReadPipes();
    if (child_.HasEnded())
        return false;
    // The converter only ever sets the heartbeat; the parent clears it to see the next beat.
    if (heartbeat_.IsSet()) {
        watch_->Beat(nowMs);
        heartbeat_.Reset();
    }
    int64_t bytes = 0;
    bytesEncoded_.Read(&bytes);
    watch_->Progress(nowMs, report_.percent, bytes);
    const String hung = watch_->HungReason(nowMs);
    if (hung.empty() || WritingCrashDump(nowMs))
        return true;
    hungReason_ = hung;
    child_.Terminate(1);
    return false;
}

// A crashing converter writes its dump while nothing moves, then ends itself: it gets one more
// hang limit for that before it counts as hung.
bool Conversion::WritingCrashDump(uint64_t nowMs) {
    if (crashSeenMs_ == 0 && !CrashDump().empty())
        crashSeenMs_ = nowMs;
    return crashSeenMs_ != 0 && nowMs - crashSeenMs_ < setup_.hangMs;
}

void Conversion::Stop() {
    stopRequested_ = true;
    quit_.Set();
}

void Conversion::Kill() {
    killed_ = true;
    child_.Terminate(1);
}

String Conversion::CrashDump() const {
    // The converter takes the first free name for its process id, so the dumps of that id
    // run without gaps; only one written since this start is this run's.
    String found;
    for (int n = 0; n <= kMaxCrashDumpSuffix; ++n) {
        uint64_t written = 0;
        if (!PathWriteTime(setup_.crashFolder + CrashDumpName(child_.Id(), n), written))
            break;
        if (written >= startFileTime_)
            found = CrashDumpName(child_.Id(), n);
    }
    return found;
}

String Conversion::FailureReason() const {
    if (!startProblem_.empty())
        return startProblem_;
    if (!hungReason_.empty())
        return u"hung: " + hungReason_ + u", ended";
    const String dump = CrashDump();
    if (!dump.empty())
        return u"crashed (" + setup_.crashFolder + dump + u")";
    if (killed_)
        return u"ended by a second Ctrl-C";
    if (stopRequested_)
        return u"stopped by Ctrl-C";
    const uint32_t code = child_.ExitCode();
    if (code != 0)
        return report_.firstError.empty() ? u"exit status " + IntToText(code) : report_.firstError;
    if (!FileExists(temp_))
        return u"the converter ended without an output (status 0, no crash dump)";
    return {};
}

FileOutcome Conversion::Failed(FileOutcome outcome, const String& reason) {
    DeleteFilePath(temp_);
    outcome.status = FileStatus::kFailed;
    outcome.reason = reason;
    return outcome;
}

FileOutcome Conversion::Finish(uint64_t nowMs) {
    ReadPipes();
    TakeParentLine(outLines_.Rest(), report_);
    if (String rest = errLines_.Rest(); !rest.empty())
        TakeErrorLine(rest, report_);
    FileOutcome outcome = Outcome(plan_.source.path, plan_.output, FileStatus::kFailed);
    outcome.audioMs = report_.lengthMs;
    outcome.seconds = static_cast<double>(nowMs - startMs_) / 1000.0;
    outcome.notes = report_.information;
    if (String reason = FailureReason(); !reason.empty())
        return Failed(outcome, reason);
    if (!MoveWithRetry(temp_, plan_.output, MOVEFILE_REPLACE_EXISTING, kMoveRetryMs))
        return Failed(outcome, u"cannot move the finished file onto '" + plan_.output + u"' " +
                                   Win32ErrorTextU());
    outcome.status = FileStatus::kConverted;
    outcome.bytes = FileSizeOfPath(plan_.output);
    return outcome;
}

RunningShare Conversion::Share() const {
    return {plan_.sourceBytes, report_.lengthMs, report_.percent, FileNamePart(plan_.source.path)};
}

} // namespace wm
