#include "batch/SourceScan.h"

#include "batch/OutputRecord.h"
#include "files/FileOps.h"
#include "files/Folders.h"
#include "files/PathText.h"
#include "plugins/clTwCodecHandler.h"
#include "process/Log.h"
#include "tags/IDTagSet.h"
#include "text/NumberText.h"

#include <memory>

namespace wm {

namespace {

bool Decodable(StringView path, const StringList& extensions) {
    const String ext = ExtensionOf(path);
    for (const String& e : extensions)
        if (EqualsNoCase(e, ext))
            return true;
    return false;
}

struct Walker {
    const StringList& extensions;
    const String outFolder; // ending in "\"
    const OwnOutput& ownOutput;
    const PathFilter& filter;
    SourceScan& scan;
    size_t prefixSize = 0; // of the selected folder's name in the relative paths

    void Take(const String& path, const String& relative) {
        // A conversion of ours that never finished (the next one removes it), or our own work.
        if (IsBatchTempName(path) || EqualsNoCase(FileNamePart(path), kRecordFileName) ||
            ownOutput(path) || !filter.Keeps(StringView(relative).substr(prefixSize)))
            return;
        if (Decodable(path, extensions)) {
            scan.sources.push_back({path, relative, {}});
            return;
        }
        scan.others.push_back({path, relative, {}});
        scan.skipped.push_back(
            Outcome(path, u"", FileStatus::kSkipped,
                    u"no installed decoder reads '" + ExtensionOf(path) + u"' files"));
    }

    void Walk(const String& folder, const String& relative) {
        FolderWalk walk;
        walk.Start(folder);
        while (walk.Next()) {
            const String below = relative + walk.Name();
            const String sub = EnsureTrailingSeparator(walk.Path());
            if (!walk.IsFolder())
                Take(walk.Path(), below);
            else if (MayEnterFolder(walk.Path()) && !EqualsNoCase(sub, outFolder))
                Walk(sub, below + u"\\");
        }
    }
};

SourceShape ShapeOf(const WmWaveFormat& f) {
    constexpr uint16_t kFloat = 3, kExtensible = 0xFFFE;
    const bool isFloat =
        f.formatTag == kFloat || (f.formatTag == kExtensible && f.subFormat[0] == kFloat);
    return {f.samplesPerSec, f.channels, f.bitsPerSample, isFloat};
}

bool BindDecoder(clTwDecoder& decoder, const String& path, const String& programFolder,
                 const String& track) {
    clTwCodecHandler handler;
    if (track.empty())
        return handler.FindDecoder(path, decoder, LogHostContext(), programFolder, false);
    PluginValue value{};
    value.value1 = static_cast<uint32_t>(TextToInt(track));
    return handler.FindTrackDecoder(decoder, LogHostContext(), programFolder) &&
           decoder.Set(WM_VALUE_TRACK, &value);
}

} // namespace

SourceScan ScanInputs(const StringList& inputs, const StringList& extensions,
                      const String& outFolder, const OwnOutput& ownOutput,
                      const PathFilter& filter) {
    SourceScan scan;
    Walker walker{extensions, EnsureTrailingSeparator(outFolder), ownOutput, filter, scan};
    for (const String& input : inputs) {
        const String folder = EnsureTrailingSeparator(input);
        const String prefix =
            FolderExists(input) ? SelectedFolderPrefix(folder, walker.outFolder) : String();
        walker.prefixSize = prefix.size();
        if (FolderExists(input))
            walker.Walk(folder, prefix);
        else if (FileExists(input))
            walker.Take(input, FileNamePart(input));
        else
            scan.skipped.push_back(Outcome(input, u"", FileStatus::kSkipped, u"not found"));
    }
    return scan;
}

SourceFacts SourceFactsReader::Read(const String& path, const String& track) {
    auto tags = std::make_shared<IDTagSet>();
    SourceShape shape;
    if (BindDecoder(decoder_, path, programFolder_, track)) {
        DecodeOpenInfo info{};
        info.path = path.c_str();
        info.openMode = WM_OPEN_CONVERT;
        if (decoder_.Open(&info)) {
            if (info.tagData && info.tagSize)
                tags->Deserialize(info.tagData, info.tagSize);
            shape = ShapeOf(info.format);
            ConversionInfo conversion{};
            conversion.inputPath = path.c_str();
            decoder_.Close(&conversion);
        }
    }
    decoder_.DestroyInstance();
    return {[tags](StringView name) { return tags->GetFirstValue(name); }, shape};
}

} // namespace wm
