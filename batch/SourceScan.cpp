#include "batch/SourceScan.h"

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

void Take(const String& path, const String& relative, const StringList& extensions,
          SourceScan& scan) {
    if (IsBatchTempName(path))
        return; // a conversion of ours that never finished; the next one removes it
    if (Decodable(path, extensions))
        scan.sources.push_back({path, relative, {}});
    else
        scan.skipped.push_back(
            Outcome(path, u"", FileStatus::kSkipped,
                    u"no installed decoder reads '" + ExtensionOf(path) + u"' files"));
}

struct Walker {
    const StringList& extensions;
    const String outFolder; // ending in "\"
    SourceScan& scan;

    void Walk(const String& folder, const String& relative) {
        FolderWalk walk;
        walk.Start(folder);
        while (walk.Next()) {
            const String below = relative + walk.Name();
            const String sub = EnsureTrailingSeparator(walk.Path());
            if (!walk.IsFolder())
                Take(walk.Path(), below, extensions, scan);
            else if (MayEnterFolder(walk.Path()) && !EqualsNoCase(sub, outFolder))
                Walk(sub, below + u"\\");
        }
    }
};

} // namespace

SourceScan ScanInputs(const StringList& inputs, const StringList& extensions,
                      const String& outFolder) {
    SourceScan scan;
    Walker walker{extensions, EnsureTrailingSeparator(outFolder), scan};
    for (const String& input : inputs) {
        if (FolderExists(input))
            walker.Walk(EnsureTrailingSeparator(input), u"");
        else if (FileExists(input))
            Take(input, FileNamePart(input), extensions, scan);
        else
            scan.skipped.push_back(Outcome(input, u"", FileStatus::kSkipped, u"not found"));
    }
    return scan;
}

namespace {

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

TagLookup ReadSourceTags(const String& path, const String& programFolder, const String& track) {
    auto tags = std::make_shared<IDTagSet>();
    clTwDecoder decoder;
    if (BindDecoder(decoder, path, programFolder, track)) {
        DecodeOpenInfo info{};
        info.path = path.c_str();
        info.openMode = WM_OPEN_CONVERT;
        if (decoder.Open(&info)) {
            if (info.tagData && info.tagSize)
                tags->Deserialize(info.tagData, info.tagSize);
            ConversionInfo conversion{};
            conversion.inputPath = path.c_str();
            decoder.Close(&conversion);
        }
    }
    decoder.Unload();
    return [tags](StringView name) { return tags->GetFirstValue(name); };
}

} // namespace wm
