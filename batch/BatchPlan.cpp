#include "batch/BatchPlan.h"

#include "batch/CueSources.h"
#include "batch/SourceScan.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/PathText.h"
#include "plugins/clTwCodecHandler.h"
#include "process/WinString.h"

#include <windows.h>

#include <algorithm>

namespace wm {

namespace {

// The decoder opens a source at planning only when its tags name the output or its format may
// need adapting.
bool NeedsFacts(const BatchOptions& o) {
    const TargetLimits limits = LimitsOf(o.codec);
    return !o.pattern.empty() ||
           (o.adapt && (!limits.channels.empty() || !limits.rates.empty() || limits.integerOnly));
}

Adaptation AdaptationFor(const BatchOptions& o, const SourceFacts& facts) {
    return o.adapt && facts.shape.channels ? AdaptTo(facts.shape, LimitsOf(o.codec)) : Adaptation{};
}

OutputClaim ClaimFor(const BatchOptions& o, const SourceFile& source, const SourceFacts& facts,
                     const String& extension) {
    OutputClaim claim;
    claim.source = source.path;
    if (o.pattern.empty()) {
        claim.output = MirroredOutput(o.outFolder, source.relative, extension);
        return claim;
    }
    claim.output = PatternOutput(o.outFolder, o.pattern, facts.tags, source.path, extension);
    claim.disc = DiscOf(facts.tags);
    return claim;
}

bool SamePath(StringView a, StringView b) {
    return EqualsNoCase(a, b);
}

// A claim settled: skipped with its reason, kept as up to date, or a conversion.
void Decide(const BatchOptions& o, const SourceFile& source, const OutputClaim& claim,
            const Adaptation& adaptation, const OutputRecord& record, BatchPlan& plan) {
    if (claim.skipped) {
        plan.skipped.push_back(
            Outcome(source.path, claim.output, FileStatus::kSkipped, claim.note));
        return;
    }
    if (SamePath(claim.output, source.path)) {
        plan.skipped.push_back(Outcome(source.path, u"", FileStatus::kSkipped,
                                       u"already " + o.codec + u" where its output would go"));
        return;
    }
    // Copied as it is: converting one lossy format into itself only loses more.
    const bool copy =
        o.copySame && EqualsNoCase(ExtensionOf(source.path), ExtensionOf(claim.output));
    uint64_t sourceTime = 0, outputTime = 0;
    PathWriteTime(source.path, sourceTime);
    const bool exists = PathWriteTime(claim.output, outputTime);
    const String why = ConvertReason(
        exists, outputTime, sourceTime, o.overwrite, record.Find(claim.output), source.path,
        copy ? String(kCopySettings) : SettingsText(o.codec, o.passThrough));
    if (!why.empty() && !claim.note.empty())
        plan.renamed[source.path] = claim.note; // said when it is converted or copied
    if (!why.empty() && copy) {
        plan.copies.push_back({source.path, claim.output});
        return;
    }
    if (!why.empty()) {
        plan.conversions.push_back({source,
                                    claim.output,
                                    FileSizeOfPath(source.path),
                                    AdaptingEffectOptions(adaptation.effects, o.passThrough),
                                    {}});
        if (!adaptation.notes.empty())
            plan.adapted[source.path] = adaptation.notes;
        return;
    }
    FileOutcome kept = Outcome(source.path, claim.output, FileStatus::kSkipped, u"up to date");
    kept.bytes = FileSizeOfPath(claim.output);
    plan.skipped.push_back(kept);
}

// The folders a file beside the music goes to: its folder's mirror, or with a naming pattern
// every folder that the outputs of the sources beside it went to.
StringList CopyFolders(const BatchOptions& o, const SourceFile& file,
                       const std::vector<OutputClaim>& claims) {
    if (o.pattern.empty())
        return {FolderPart(MirroredOutput(o.outFolder, file.relative, ExtensionOf(file.path)))};
    StringList folders;
    for (const OutputClaim& c : claims) {
        const String folder = FolderPart(c.output);
        if (!c.skipped && SamePath(FolderPart(c.source), FolderPart(file.path)) &&
            std::find(folders.begin(), folders.end(), folder) == folders.end())
            folders.push_back(folder);
    }
    return folders;
}

// -copyfiles: each file beside the music that a pattern names, unless its copy is up to date.
void PlanFileCopies(const BatchOptions& o, const std::vector<SourceFile>& others,
                    const std::vector<OutputClaim>& claims, BatchPlan& plan) {
    for (const SourceFile& file : others) {
        if (o.copyFiles.empty() || !MatchesAny(o.copyFiles, FileNamePart(file.path)))
            continue;
        // Listed as copied or kept, not as a file no decoder reads.
        std::erase_if(plan.skipped, [&](const FileOutcome& s) { return s.input == file.path; });
        uint64_t sourceTime = 0, copyTime = 0;
        PathWriteTime(file.path, sourceTime);
        for (const String& folder : CopyFolders(o, file, claims)) {
            const String target = EnsureTrailingSeparator(folder) + FileNamePart(file.path);
            if (SamePath(target, file.path))
                continue; // the output folder is its own folder
            if (o.overwrite || !PathWriteTime(target, copyTime) || copyTime < sourceTime)
                plan.copies.push_back({file.path, target});
            else
                plan.skipped.push_back(
                    Outcome(file.path, target, FileStatus::kSkipped, u"up to date"));
        }
    }
}

} // namespace

void PlanOneSource(const BatchOptions& o, const SourceFile& source, const String& output,
                   const String& programFolder, const OutputRecord& record, BatchPlan& plan) {
    if (!FileExists(source.path)) {
        plan.skipped.push_back(Outcome(source.path, output, FileStatus::kSkipped, u"not found"));
        return;
    }
    OutputClaim claim;
    claim.source = source.path;
    claim.output = output;
    const SourceFacts facts = NeedsFacts(o)
                                  ? SourceFactsReader(programFolder).Read(source.path, source.track)
                                  : SourceFacts{};
    Decide(o, source, claim, AdaptationFor(o, facts), record, plan);
}

String FullPath(const String& path) {
    wchar_t buffer[32768];
    const DWORD n = ::GetFullPathNameW(W(path), 32768, buffer, nullptr);
    return n == 0 || n >= 32768 ? path : FromW(buffer, n);
}

OutputRecord LoadRecord(const String& outFolder) {
    OutputRecord record(outFolder);
    FileAccess file;
    if (!file.OpenRead(EnsureTrailingSeparator(outFolder) + String(kRecordFileName)))
        return record;
    std::string text(static_cast<size_t>(file.Size()), '\0');
    text.resize(file.Read(text.data(), static_cast<uint32_t>(text.size())));
    record.Load(text);
    return record;
}

bool AppendToRecord(const String& outFolder, const OutputRecord& record, const RecordEntry& entry) {
    const String path = EnsureTrailingSeparator(outFolder) + String(kRecordFileName);
    // Shared for writing: the jobs of a plan run side by side and append to one record.
    HANDLE file = ::CreateFileW(W(path), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    const std::string line = record.Line(entry);
    DWORD written = 0;
    const bool ok =
        ::WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr) &&
        written == line.size();
    ::CloseHandle(file);
    return ok;
}

BatchPlan PlanBatch(const BatchOptions& o, const String& programFolder, const String& extension,
                    const OutputRecord& record) {
    StringList decodable;
    clTwCodecHandler().ListDecoders(false, &decodable, nullptr, nullptr, programFolder);
    const OwnOutput ownOutput = [&](const String& path) {
        const RecordEntry* made = record.Find(path);
        return made && !SamePath(made->source, path);
    };
    SourceScan scan =
        ScanInputs(o.inputs, decodable, o.outFolder, ownOutput, PathFilter(o.include, o.exclude));
    ExpandDiscImages(scan, decodable, o.hiddenTrack);
    BatchPlan plan;
    plan.skipped = std::move(scan.skipped);
    plan.sourcesFound = scan.sources.size();
    std::vector<SourceFacts> facts;
    std::vector<OutputClaim> claims;
    StringList sources;
    SourceFactsReader reader(programFolder);
    for (const SourceFile& s : scan.sources) {
        facts.push_back(NeedsFacts(o) ? reader.Read(s.path, s.track) : SourceFacts{});
        claims.push_back(ClaimFor(o, s, facts.back(), extension));
        sources.push_back(s.path);
    }
    // A source in the target format already, where its output would go, is not converted.
    std::vector<OutputClaim> settling;
    for (const OutputClaim& c : claims)
        if (!SamePath(c.output, c.source))
            settling.push_back(c);
    SettleCollisions(settling, sources, o.collide);
    for (size_t i = 0, next = 0; i < claims.size(); ++i) {
        if (!SamePath(claims[i].output, claims[i].source))
            claims[i] = settling[next++];
        Decide(o, scan.sources[i], claims[i], AdaptationFor(o, facts[i]), record, plan);
    }
    PlanFileCopies(o, scan.others, claims, plan);
    return plan;
}

} // namespace wm
