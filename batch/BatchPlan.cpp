#include "batch/BatchPlan.h"

#include "batch/CueSources.h"
#include "batch/SourceScan.h"
#include "files/FileOps.h"
#include "plugins/clTwCodecHandler.h"
#include "process/WinString.h"

namespace wm {

namespace {

String OutputFor(const BatchOptions& o, const SourceFile& source, const String& programFolder,
                 const String& extension) {
    if (o.pattern.empty())
        return MirroredOutput(o.outFolder, source.relative, extension);
    return PatternOutput(o.outFolder, o.pattern,
                         ReadSourceTags(source.path, programFolder, source.track), source.path,
                         extension);
}

} // namespace

String FullPath(const String& path) {
    wchar_t buffer[32768];
    const DWORD n = ::GetFullPathNameW(W(path), 32768, buffer, nullptr);
    return n == 0 || n >= 32768 ? path : FromW(buffer, n);
}

BatchPlan PlanBatch(const BatchOptions& o, const String& programFolder, const String& extension) {
    StringList decodable;
    clTwCodecHandler().ListDecoders(false, &decodable, nullptr, nullptr, programFolder);
    SourceScan scan = ScanInputs(o.inputs, decodable, o.outFolder);
    ExpandDiscImages(scan, decodable);
    BatchPlan plan;
    plan.skipped = std::move(scan.skipped);
    plan.sourcesFound = scan.sources.size();
    StringList outputs;
    for (const SourceFile& s : scan.sources)
        outputs.push_back(OutputFor(o, s, programFolder, extension));
    plan.collisions = FindCollisions(scan.sources, outputs);
    for (size_t i = 0; i < scan.sources.size(); ++i) {
        uint64_t sourceTime = 0, outputTime = 0;
        PathWriteTime(scan.sources[i].path, sourceTime);
        const bool exists = PathWriteTime(outputs[i], outputTime);
        if (!OutputIsUpToDate(exists, outputTime, sourceTime, o.overwrite)) {
            plan.conversions.push_back(
                {scan.sources[i], outputs[i], FileSizeOfPath(scan.sources[i].path), {}});
            continue;
        }
        FileOutcome kept =
            Outcome(scan.sources[i].path, outputs[i], FileStatus::kSkipped, u"up to date");
        kept.bytes = FileSizeOfPath(outputs[i]);
        plan.skipped.push_back(kept);
    }
    return plan;
}

} // namespace wm
