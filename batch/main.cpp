// WavemillBatch.exe: converts files and folders with Wavemill.exe, several at once, as a parent
// program drives it. Exit status 0 when every conversion succeeded, 1 when any failed or the
// user stopped the batch, 2 for bad usage or nothing to convert.
#include "batch/AlbumGainRun.h"
#include "batch/AlbumLevelPass.h"
#include "batch/BatchArguments.h"
#include "batch/BatchPlan.h"
#include "batch/BatchRun.h"
#include "batch/OptionTrial.h"
#include "batch/ProgressView.h"
#include "batch/Supervisor.h"
#include "crash/CrashHandler.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/Folders.h"
#include "files/PathText.h"
#include "plugins/clTwCodecHandler.h"
#include "process/ProcessStart.h"
#include "process/WinString.h"
#include "text/NumberText.h"

#include <shellapi.h>

#include <map>
#include <optional>
#include <string>

namespace wm {
namespace {

constexpr int kBadUsage = 2;

const char16_t* const kUsage[] = {
    u"Usage: WavemillBatch.exe -convert_to=<codec> [-out=<folder>] [options] <file or folder>...",
    u"  -convert_to=<codec>   the encoder for every file (as Wavemill.exe takes it)",
    u"  -out=<folder>         where the outputs go (default: the current folder); the input",
    u"                        tree is mirrored below it",
    u"  -pattern=<pattern>    name outputs from tags: %artist%\\%album%\\%track% %title%",
    u"  -jobs=<n>             conversions at once (default: one per processor)",
    u"  -hang=<seconds>       end a conversion that stops moving this long (default 60)",
    u"  -overwrite            convert even when an output is up to date",
    u"  -include=<patterns>   only the files that match (;-separated, * and ?, below the",
    u"                        selected folder); -exclude=<patterns> leaves out those that do",
    u"  -copysame             copy a source already in the target format as it is",
    u"  -copyfiles=<patterns> copy the files beside the music that match (*.jpg;*.cue)",
    u"  -noadapt              do not adapt sources to the encoder (down-mix, rate, depth)",
    u"  -collide=suffix|skip  two sources for one output name: the later one gets a name of",
    u"                        its own (default), or is not converted",
    u"  -report=<file>        one line per file: CSV, or JSON lines for a .json/.jsonl name",
    u"  -plan=<file>          write each conversion as a command line of its own, run none",
    u"  -file=<src> -as=<out> one planned job: that source to that output",
    u"  -hiddentrack          a disc image's audio before track 1 becomes a track (\" - 00\")",
    u"  -replaygain=<scope>   track: tag each output with its measured ReplayGain; album: the",
    u"                        album gain too (album tag and album artist, within one folder)",
    u"  -albumloudness=<LUFS> bring each album to that loudness with one gain (true peak",
    u"                        at most -1 dBTP); measured first, in a pass of its own",
    u"  Any other option (encoder options, -dspeffectN, -tag, -noidtag) goes to every",
    u"  conversion as Wavemill.exe takes it.",
};

StringList Arguments() {
    int count = 0;
    wchar_t** argv = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    StringList args;
    for (int i = 1; argv && i < count; ++i)
        args.push_back(FromW(argv[i]));
    ::LocalFree(argv);
    return args;
}

bool WriteUtf8Lines(const String& path, const StringList& lines, const char* lineEnd) {
    std::string text;
    for (const String& line : lines)
        if (!line.empty())
            text += Narrow(line) + lineEnd;
    FileAccess file;
    return file.Create(path) && file.Write(text.data(), static_cast<uint32_t>(text.size()));
}

bool WriteReport(const BatchOptions& o, const std::vector<FileOutcome>& outcomes) {
    StringList lines{ReportHeader(o.reportFormat)};
    for (const FileOutcome& outcome : outcomes)
        lines.push_back(ReportLine(outcome, o.reportFormat));
    return WriteUtf8Lines(o.reportFile, lines, "\r\n");
}

// LF line ends: a job runner on Linux (under Wine) and one on Windows both read them whole.
int WritePlan(const BatchOptions& o, const BatchPlan& plan, const String& batchProgram,
              ProgressView& view) {
    StringList lines;
    for (const PlannedConversion& c : plan.conversions)
        lines.push_back(PlanLine(batchProgram, o.codec, o.outFolder, c.source.path, c.output,
                                 TrackOption(c.source) + o.passThrough));
    if (!WriteUtf8Lines(o.planFile, lines, "\n")) {
        WriteErrorLine(u"Cannot write the plan '" + o.planFile + u"' " + Win32ErrorTextU());
        return kBadUsage;
    }
    view.Line(u"Planned " + IntToText(static_cast<int64_t>(lines.size())) + u" conversions in '" +
              o.planFile + u"' (" + IntToText(static_cast<int64_t>(plan.skipped.size())) +
              u" skipped).");
    return 0;
}

// A converted file whose album got no album gain or level keeps its status; the reason says why.
void NoteAlbumProblems(const std::map<String, String>& notes, std::vector<FileOutcome>& outcomes,
                       ProgressView& view) {
    for (FileOutcome& o : outcomes) {
        const auto why = notes.find(o.output);
        if (o.status != FileStatus::kConverted || why == notes.end())
            continue;
        o.reason = why->second;
        view.Line(u"  " + o.output + u": " + o.reason);
    }
}

// The batch's own folder for command files, named after its process so batches stay apart.
String CommandFolder() {
    const String folder =
        TempFolder() + u"WavemillBatch-" + IntToText(::GetCurrentProcessId()) + u"\\";
    CreateFolderPath(folder);
    return folder;
}

// Names the batch's temporary output as the output in what the user reads, says how an output
// was renamed, and records each converted output, so that a rerun knows it as the batch's own.
FileEnded Recorder(const BatchOptions& o, const BatchPlan& plan, const OutputRecord& record,
                   ProgressView& view) {
    return [&o, &plan, &record, &view, settings = SettingsText(o.codec, o.passThrough),
            warned = false](uint32_t, FileOutcome& outcome) mutable {
        const String temporary = BatchTempName(outcome.output);
        outcome.reason = InUserNames(outcome.reason, temporary, outcome.output);
        for (String& note : outcome.notes)
            note = InUserNames(note, temporary, outcome.output);
        StringList planned;
        if (const auto renamed = plan.renamed.find(outcome.input); renamed != plan.renamed.end())
            planned.push_back(renamed->second);
        if (const auto adapted = plan.adapted.find(outcome.input); adapted != plan.adapted.end())
            for (const String& how : adapted->second)
                planned.push_back(u"adapted: " + how);
        outcome.notes.insert(outcome.notes.begin(), planned.begin(), planned.end());
        if (outcome.status != FileStatus::kConverted ||
            AppendToRecord(o.outFolder, record, {outcome.output, outcome.input, settings}) ||
            warned)
            return;
        warned = true;
        view.Line(u"Cannot add to the record '" + EnsureTrailingSeparator(o.outFolder) +
                  String(kRecordFileName) + u"' " + Win32ErrorTextU() +
                  u"; a rerun cannot tell these outputs from sources.");
    };
}

// The copies run first, one at a time: they take no converter and little time.
std::vector<FileOutcome> RunCopies(const BatchOptions& o, const BatchPlan& plan,
                                   const OutputRecord& record, ProgressView& view) {
    std::vector<FileOutcome> outcomes;
    for (const PlannedCopy& c : plan.copies) {
        FileOutcome outcome = Outcome(c.source, c.output, FileStatus::kCopied);
        if (!CreateFolderPath(FolderPart(c.output)) || !CopyPath(c.source, c.output, false)) {
            outcome.status = FileStatus::kFailed;
            outcome.reason = u"cannot copy it to '" + c.output + u"' " + Win32ErrorTextU();
            view.Line(u"FAILED " + c.source + u": " + outcome.reason);
        } else {
            outcome.bytes = FileSizeOfPath(c.output);
            AppendToRecord(o.outFolder, record, {c.output, c.source, String(kCopySettings)});
            view.Line(u"copied " + c.source + u" -> " + c.output);
        }
        outcomes.push_back(outcome);
    }
    return outcomes;
}

ConversionSetup MakeSetup(const BatchOptions& o, const String& wavemill) {
    ConversionSetup setup;
    setup.wavemill = wavemill;
    setup.commandFolder = CommandFolder();
    setup.crashFolder = CrashFolder(WavemillCrashReports());
    setup.codec = o.codec;
    setup.passThrough = o.passThrough;
    setup.namePrefix = u"WavemillBatch-" + IntToText(::GetCurrentProcessId()) + u"-";
    setup.hangMs = uint64_t{o.hangSeconds} * 1000;
    return setup;
}

// The conversions a stop or a full destination left unstarted, each with why.
void AddNotStarted(const BatchPlan& plan, const BatchResult& result,
                   std::vector<FileOutcome>& all) {
    for (size_t i = plan.conversions.size() - result.notStarted; i < plan.conversions.size(); ++i)
        all.push_back(Outcome(plan.conversions[i].source.path, plan.conversions[i].output,
                              FileStatus::kSkipped,
                              result.halted.empty() ? String(u"not started: the batch was stopped")
                                                    : u"not started: " + result.halted));
}

// The one retry the batch allows itself, a start the system refused or lost, is said, never
// hidden.
void SayStartsMadeAgain(ProgressView& view) {
    if (const uint32_t refused = RefusedStartsRetried())
        view.Line(u"The system refused " + IntToText(refused) +
                  u" converter start(s) (error 1359); each was made again.");
    if (const uint32_t lost = LostStartsMadeAgain())
        view.Line(u"The system lost " + IntToText(lost) +
                  u" converter start(s) (ended before the converter ran); each was made again.");
}

int RunPlanned(const BatchOptions& o, BatchPlan& plan, const OutputRecord& record,
               const ConversionSetup& setup, ProgressView& view) {
    SYSTEM_INFO system{};
    ::GetSystemInfo(&system);
    const uint32_t jobs = o.jobs ? o.jobs : std::max<uint32_t>(1, system.dwNumberOfProcessors);

    std::map<String, String> notes; // why an output has no album gain or level
    if (o.albumLoudness && !LevelAlbums(plan.conversions, setup,
                                        {*o.albumLoudness, jobs, ProgramFolder()}, view, notes)) {
        RemoveFolder(setup.commandFolder, true);
        view.Line(u"Stopped by the user while the albums were measured; nothing was converted.");
        return 1;
    }
    ConversionSetup run = setup;
    run.loudnessRecords = o.replayGain == ReplayGainMode::kAlbum;
    std::optional<AlbumGainRun> albums;
    if (run.loudnessRecords)
        albums.emplace(plan.conversions, run, ProgramFolder());
    std::vector<FileOutcome> copies = RunCopies(o, plan, record, view);
    BatchResult result = RunBatch(plan.conversions, run, jobs, view,
                                  [&albums, recorded = Recorder(o, plan, record, view)](
                                      uint32_t number, FileOutcome& outcome) {
                                      recorded(number, outcome);
                                      if (albums)
                                          albums->ConversionEnded(number, outcome);
                                  });
    RemoveFolder(setup.commandFolder, true);
    std::vector<FileOutcome> all = std::move(plan.skipped);
    all.insert(all.end(), copies.begin(), copies.end());
    all.insert(all.end(), result.outcomes.begin(), result.outcomes.end());
    if (albums)
        notes.insert(albums->Missing().begin(), albums->Missing().end());
    NoteAlbumProblems(notes, all, view);
    AddNotStarted(plan, result, all);
    for (const String& line : SummaryLines(all))
        view.Line(line);
    SayStartsMadeAgain(view);
    if (result.stopped)
        view.Line(u"Stopped by the user; run the same command again to convert the rest.");
    if (!o.reportFile.empty() && !WriteReport(o, all))
        WriteErrorLine(u"Cannot write the report '" + o.reportFile + u"' " + Win32ErrorTextU());
    return result.stopped ? 1 : BatchExitStatus(all);
}

// One job of a plan: converted unless its output is up to date, through the same temporary name,
// record and report as in a batch.
int RunJob(const BatchOptions& o, const String& programFolder, const OutputRecord& record,
           const ConversionSetup& setup, ProgressView& view) {
    BatchPlan plan;
    plan.sourcesFound = 1;
    PlanOneSource(o, SourceFile{o.jobSource, FileNamePart(o.jobSource), o.jobTrack}, o.jobOutput,
                  programFolder, record, plan);
    for (const FileOutcome& s : plan.skipped)
        view.Line(u"Skipped " + s.input + u": " + s.reason);
    return RunPlanned(o, plan, record, setup, view);
}

int Usage(const String& problem) {
    if (!problem.empty())
        WriteErrorLine(u"Error: " + problem);
    for (const char16_t* line : kUsage)
        WriteErrorLine(line);
    return problem.empty() ? 0 : kBadUsage;
}

// Settings the encoder or an effect refuses are said once, before anything is made.
bool SettingsRefused(const ConversionSetup& setup, const String& refused) {
    if (refused.empty())
        return false;
    RemoveFolder(setup.commandFolder, true);
    WriteErrorLine(u"Error: the settings were tried once and refused, nothing was converted: " +
                   refused);
    return true;
}

int PlanAndRun(const BatchOptions& o, const String& programFolder, const String& extension,
               const OutputRecord& record, const ConversionSetup& setup, ProgressView& view) {
    OptionTrial trial(setup, extension);
    BatchPlan plan = PlanBatch(o, programFolder, extension, record);
    // Waited for in every case: it writes into the command folder the batch removes.
    const String refusal = trial.Verdict();
    for (const FileOutcome& s : plan.skipped)
        if (s.reason != u"up to date")
            view.Line(u"Skipped " + s.input + u": " + s.reason);
    for (const auto& [source, note] : plan.renamed)
        view.Line(u"Renamed " + source + u": " + note);
    if (plan.sourcesFound == 0) {
        RemoveFolder(setup.commandFolder, true);
        WriteErrorLine(u"Error: Nothing to do: no file that the installed decoders read.");
        return kBadUsage;
    }
    if (!plan.conversions.empty() && SettingsRefused(setup, refusal))
        return kBadUsage;
    if (!o.planFile.empty()) {
        RemoveFolder(setup.commandFolder, true);
        return WritePlan(o, plan, programFolder + u"WavemillBatch.exe", view);
    }
    return RunPlanned(o, plan, record, setup, view);
}

void MakePathsFull(BatchOptions& o) {
    for (String& input : o.inputs)
        input = FullPath(input);
    o.outFolder = FullPath(o.outFolder.empty() ? String(u".") : o.outFolder);
    if (!o.jobSource.empty()) {
        o.jobSource = FullPath(o.jobSource);
        o.jobOutput = FullPath(o.jobOutput);
    }
}

int Main() {
    BatchOptions o;
    String problem;
    if (!ParseBatchArguments(
            Arguments(), [](const String& p) { return PathAttributes(p) != 0; }, o, problem) ||
        o.help)
        return Usage(problem);
    MakePathsFull(o);
    const String programFolder = ProgramFolder();
    const String wavemill = programFolder + u"Wavemill.exe";
    if (!FileExists(wavemill))
        return Usage(u"Wavemill.exe is missing beside WavemillBatch.exe ('" + wavemill + u"').");
    const String extension = clTwCodecHandler().QueryExtension(o.codec, programFolder);
    if (extension.empty())
        return Usage(u"Unable to load encoder '" + o.codec + u"' (encoder\\" + o.codec + u".dll).");

    ProgressView view;
    const OutputRecord record = LoadRecord(o.outFolder);
    const ConversionSetup setup = MakeSetup(o, wavemill);
    if (!o.jobSource.empty())
        return RunJob(o, programFolder, record, setup, view);
    return PlanAndRun(o, programFolder, extension, record, setup, view);
}

} // namespace
} // namespace wm

int wmain() {
    return wm::Main();
}
