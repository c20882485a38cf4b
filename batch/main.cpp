// WavemillBatch.exe: converts files and folders with Wavemill.exe, several at once, as a parent
// program drives it. Exit status 0 when every conversion succeeded, 1 when any failed or the
// user stopped the batch, 2 for bad usage or nothing to convert.
#include "batch/AlbumGainRun.h"
#include "batch/AlbumLevelPass.h"
#include "batch/BatchArguments.h"
#include "batch/BatchPlan.h"
#include "batch/BatchRun.h"
#include "batch/ProgressView.h"
#include "crash/CrashHandler.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/Folders.h"
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
    u"  -report=<file>        one line per file: CSV, or JSON lines for a .json/.jsonl name",
    u"  -plan=<file>          write the conversions as Wavemill.exe command lines, run none",
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

bool WriteUtf8Lines(const String& path, const StringList& lines) {
    std::string text;
    for (const String& line : lines)
        if (!line.empty())
            text += Narrow(line) + "\r\n";
    FileAccess file;
    return file.Create(path) && file.Write(text.data(), static_cast<uint32_t>(text.size()));
}

bool WriteReport(const BatchOptions& o, const std::vector<FileOutcome>& outcomes) {
    StringList lines{ReportHeader(o.reportFormat)};
    for (const FileOutcome& outcome : outcomes)
        lines.push_back(ReportLine(outcome, o.reportFormat));
    return WriteUtf8Lines(o.reportFile, lines);
}

int WritePlan(const BatchOptions& o, const BatchPlan& plan, const String& wavemill,
              ProgressView& view) {
    StringList lines;
    for (const PlannedConversion& c : plan.conversions)
        lines.push_back(PlanLine(wavemill, c.source.path, c.output, o.codec,
                                 TrackOption(c.source) + o.passThrough));
    if (!WriteUtf8Lines(o.planFile, lines)) {
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

int RunPlanned(const BatchOptions& o, BatchPlan& plan, const String& wavemill, ProgressView& view) {
    ConversionSetup setup;
    setup.wavemill = wavemill;
    setup.commandFolder = CommandFolder();
    setup.crashFolder = CrashFolder(WavemillCrashReports());
    setup.codec = o.codec;
    setup.passThrough = o.passThrough;
    setup.namePrefix = u"WavemillBatch-" + IntToText(::GetCurrentProcessId()) + u"-";
    setup.hangMs = uint64_t{o.hangSeconds} * 1000;
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
    setup.loudnessRecords = o.replayGain == ReplayGainMode::kAlbum;
    std::optional<AlbumGainRun> albums;
    if (setup.loudnessRecords)
        albums.emplace(plan.conversions, setup, ProgramFolder());
    BatchResult result = RunBatch(plan.conversions, setup, jobs, view,
                                  [&albums](uint32_t number, const FileOutcome& outcome) {
                                      if (albums)
                                          albums->ConversionEnded(number, outcome);
                                  });
    RemoveFolder(setup.commandFolder, true);
    std::vector<FileOutcome> all = std::move(plan.skipped);
    all.insert(all.end(), result.outcomes.begin(), result.outcomes.end());
    if (albums)
        notes.insert(albums->Missing().begin(), albums->Missing().end());
    NoteAlbumProblems(notes, all, view);
    for (size_t i = plan.conversions.size() - result.notStarted; i < plan.conversions.size(); ++i)
        all.push_back(Outcome(plan.conversions[i].source.path, plan.conversions[i].output,
                              FileStatus::kSkipped, u"not started: the batch was stopped"));
    for (const String& line : SummaryLines(all))
        view.Line(line);
    // The one retry the batch allows itself is said, never hidden.
    if (const uint32_t refused = RefusedStartsRetried())
        view.Line(u"The system refused " + IntToText(refused) +
                  u" converter start(s) (error 1359); each was made again.");
    if (result.stopped)
        view.Line(u"Stopped by the user; run the same command again to convert the rest.");
    if (!o.reportFile.empty() && !WriteReport(o, all))
        WriteErrorLine(u"Cannot write the report '" + o.reportFile + u"' " + Win32ErrorTextU());
    return result.stopped ? 1 : BatchExitStatus(all);
}

int Usage(const String& problem) {
    if (!problem.empty())
        WriteErrorLine(u"Error: " + problem);
    for (const char16_t* line : kUsage)
        WriteErrorLine(line);
    return problem.empty() ? 0 : kBadUsage;
}

int Main() {
    BatchOptions o;
    String problem;
    if (!ParseBatchArguments(
            Arguments(), [](const String& p) { return PathAttributes(p) != 0; }, o, problem) ||
        o.help)
        return Usage(problem);
    for (String& input : o.inputs)
        input = FullPath(input);
    o.outFolder = FullPath(o.outFolder.empty() ? String(u".") : o.outFolder);

    const String programFolder = ProgramFolder();
    const String wavemill = programFolder + u"Wavemill.exe";
    if (!FileExists(wavemill))
        return Usage(u"Wavemill.exe is missing beside WavemillBatch.exe ('" + wavemill + u"').");
    const String extension = clTwCodecHandler().QueryExtension(o.codec, programFolder);
    if (extension.empty())
        return Usage(u"Unable to load encoder '" + o.codec + u"' (encoder\\" + o.codec + u".dll).");

    ProgressView view;
    BatchPlan plan = PlanBatch(o, programFolder, extension);
    for (const FileOutcome& s : plan.skipped)
        if (s.reason != u"up to date")
            view.Line(u"Skipped " + s.input + u": " + s.reason);
    if (!plan.collisions.empty()) {
        for (const String& line : plan.collisions)
            WriteErrorLine(u"Error: " + line);
        WriteErrorLine(u"Error: outputs would collide; nothing was converted.");
        return kBadUsage;
    }
    if (plan.sourcesFound == 0) {
        WriteErrorLine(u"Error: Nothing to do: no file that the installed decoders read.");
        return kBadUsage;
    }
    if (!o.planFile.empty())
        return WritePlan(o, plan, wavemill, view);
    return RunPlanned(o, plan, wavemill, view);
}

} // namespace
} // namespace wm

int wmain() {
    return wm::Main();
}
