#include "batch/Conversion.h"

#include "crash/CrashDumpName.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/PathText.h"
#include "process/ProcessStart.h"
#include "protocol/ConverterOptions.h"
#include "protocol/NamedObjects.h"
#include "text/NumberText.h"

namespace wm {

namespace {

// Long enough for a file held a moment by a virus scanner or an indexer.
constexpr uint32_t kMoveRetryMs = 2000;

// How much of a converter's standard error is searched for Wine's words about a lost start.
constexpr size_t kWineWordsWithin = 4096;

uint64_t FileTimeNow() {
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    return (static_cast<uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
}

SupervisionPolicy PolicyOf(const ConversionSetup& setup) {
    SupervisionPolicy policy;
    policy.hangMs = setup.hangMs;
    // Wine takes seconds to write a dump under load: one more hang limit for it.
    policy.dumpGraceMs = setup.hangMs;
    return policy;
}

} // namespace

Conversion::Conversion(PlannedConversion plan, const ConversionSetup& setup, uint32_t number)
    : plan_(std::move(plan)), setup_(setup), number_(number), temp_(BatchTempName(plan_.output)),
      supervisor_(*this, PolicyOf(setup)) {}

Conversion::~Conversion() {
    if (!commandFile_.empty())
        DeleteFilePath(commandFile_);
}

String LoudnessRecordPath(const ConversionSetup& setup, uint32_t number) {
    return setup.commandFolder + u"job" + IntToText(number) + u".loudness";
}

bool Conversion::WriteCommandFile(const ParentObjectNames& names) {
    commandFile_ = setup_.commandFolder + u"job" + IntToText(number_) + u".twcmd";
    String options =
        OptionText(option::kInFile, plan_.source.path) + OptionText(option::kOutFile, temp_) +
        OptionText(option::kConvertTo, setup_.codec) + ParentObjectOptions(names) +
        TrackOption(plan_.source) + setup_.passThrough + plan_.options + plan_.extraOptions;
    if (setup_.loudnessRecords)
        options += OptionText(option::kLoudnessRecord, LoudnessRecordPath(setup_, number_));
    const std::string bytes = CommandFileBytes(options);
    FileAccess file;
    return file.Create(commandFile_) &&
           file.Write(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

bool Conversion::Start(uint64_t nowMs) {
    startMs_ = nowMs;
    return supervisor_.Start(nowMs);
}

ConverterPort::StartResult Conversion::Launch(String& problem) {
    startFileTime_ = FileTimeNow();
    errorsSeen_.clear();
    // A temporary file of ours left by a batch that was killed outright.
    DeleteFilePath(temp_);
    const ParentObjectNames names =
        ParentObjectNamesFor(setup_.namePrefix + IntToText(number_) + u"-");
    // The batch makes every object first, so the converter only opens them.
    quit_.CreateOrOpen(names.quitEvent);
    afterError_.CreateOrOpen(names.afterConvErrorEvent);
    heartbeat_.CreateOrOpen(names.watchdogEvent);
    bytesEncoded_.Open(names.bytesEncodedBlock, kBytesEncodedBlockSize);
    const int64_t zero = 0;
    bytesEncoded_.Write(&zero);
    if (!CreateFolderPath(FolderPart(plan_.output))) {
        problem = u"cannot make the output folder " + Win32ErrorTextU();
        return StartResult::kFailed;
    }
    if (!WriteCommandFile(names)) {
        problem = u"cannot write the command file '" + commandFile_ + u"'";
        return StartResult::kFailed;
    }
    // No console at all: the converter talks through its pipes and events, Ctrl-C reaches it as
    // the quit event, and a hidden console per converter costs Wine a console host each start.
    if (child_.Start(setup_.wavemill, CommandFileArgument(commandFile_), DETACHED_PROCESS))
        return StartResult::kStarted;
    if (::GetLastError() == ERROR_INTERNAL_ERROR)
        return StartResult::kRefused;
    problem = u"cannot start '" + setup_.wavemill + u"' " + Win32ErrorTextU();
    return StartResult::kFailed;
}

void Conversion::ReadPipes() {
    std::string bytes;
    child_.ReadOutput(bytes);
    outLines_.Feed(bytes.data(), bytes.size());
    for (String line; outLines_.NextLine(line);)
        TakeParentLine(line, report_);
    bytes.clear();
    child_.ReadErrors(bytes);
    // Wine's own words come first, before anything of the converter's.
    if (errorsSeen_.size() < kWineWordsWithin)
        errorsSeen_.append(bytes, 0, kWineWordsWithin - errorsSeen_.size());
    errLines_.Feed(bytes.data(), bytes.size());
    for (String line; errLines_.NextLine(line);)
        TakeErrorLine(line, report_);
}

ConverterSight Conversion::Look() {
    ConverterSight sight;
    ReadPipes();
    sight.ended = child_.HasEnded();
    if (sight.ended) {
        // Everything it wrote before it ended, the last line without its line end too.
        ReadPipes();
        TakeParentLine(outLines_.Rest(), report_);
        if (String rest = errLines_.Rest(); !rest.empty())
            TakeErrorLine(rest, report_);
        sight.exitCode = child_.ExitCode();
        sight.outputWritten = FileExists(temp_);
        sight.wineCouldNotMap = errorsSeen_.find(kWineCouldNotMapProcess) != std::string::npos;
    }
    // The converter only ever sets the heartbeat; the parent clears it to see the next beat.
    if (heartbeat_.IsSet()) {
        sight.heartbeat = true;
        heartbeat_.Reset();
    }
    bytesEncoded_.Read(&sight.bytesEncoded);
    sight.percent = report_.percent;
    sight.crashDump = CrashDump();
    sight.firstError = report_.firstError;
    return sight;
}

void Conversion::AskToQuit() {
    quit_.Set();
}

void Conversion::EndNow() {
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
            found = setup_.crashFolder + CrashDumpName(child_.Id(), n);
    }
    return found;
}

FileOutcome Conversion::Failed(FileOutcome outcome, const String& reason) {
    DeleteFilePath(temp_);
    outcome.status = FileStatus::kFailed;
    outcome.reason = reason;
    return outcome;
}

FileOutcome Conversion::Finish(uint64_t nowMs) {
    FileOutcome outcome = Outcome(plan_.source.path, plan_.output, FileStatus::kFailed);
    outcome.audioMs = report_.lengthMs;
    outcome.seconds = static_cast<double>(nowMs - startMs_) / 1000.0;
    outcome.notes = report_.information;
    if (supervisor_.StartedAgain())
        outcome.notes.push_back(u"started again: the system lost the converter's first start");
    if (supervisor_.Outcome() != Verdict::kDone)
        return Failed(outcome, supervisor_.Reason());
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
