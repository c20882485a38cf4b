#include "batch/CueSources.h"

#include "bundled/cue/CueCodePages.h"
#include "bundled/cue/CueTracks.h"
#include "bundled/cue/FlacCueSheet.h"
#include "files/FileAccess.h"
#include "files/Folders.h"
#include "files/PathText.h"
#include "text/NumberText.h"

#include <set>

namespace wm {

namespace {

// Sheets are a few KiB; anything this large is not one.
constexpr uint64_t kLargestSheet = 1 << 20;

String Folded(StringView path) {
    String out(path);
    for (char16_t& c : out)
        c = FoldCase(c);
    return out;
}

String FolderPart(StringView path) {
    const size_t slash = path.find_last_of(u"\\/");
    return slash == StringView::npos ? String() : String(path.substr(0, slash + 1));
}

String NamePart(StringView path) {
    return String(path.substr(FolderPart(path).size()));
}

String StemPart(StringView name) {
    const size_t dot = name.find_last_of(u'.');
    return String(dot == StringView::npos ? name : name.substr(0, dot));
}

StringList FileNamesIn(const String& folder) {
    StringList names;
    FolderWalk walk;
    walk.Start(folder);
    while (walk.Next())
        if (!walk.IsFolder())
            names.push_back(walk.Name());
    return names;
}

bool ReadSheet(const String& path, cue::CueSheet& sheet, cue::CueError& error) {
    FileAccess file;
    std::string bytes;
    const uint64_t size = file.OpenRead(path) ? file.Size() : kLargestSheet + 1;
    if (size > kLargestSheet)
        return error = {0, u"it could not be read (missing, or larger than 1 MiB)"}, false;
    bytes.resize(static_cast<size_t>(size));
    if (file.Read(bytes.data(), static_cast<uint32_t>(size)) != size)
        return error = {0, u"it could not be read"}, false;
    String text;
    cue::CueEncoding encoding{};
    return cue::DecodeCueBytes(bytes, cue::DecodeCodePage, text, encoding, error) &&
           cue::ParseCueText(text, sheet, error);
}

String SheetReason(StringView sheetPath, const cue::CueError& error) {
    String where = u"cue sheet '" + NamePart(sheetPath) + u"'";
    if (error.line)
        where += u" line " + IntToText(error.line);
    return where + u": " + error.reason;
}

// One source per track; the output is named "<image> - NN - <title>" beside where the image's
// own output would go.
// With hiddenTrack, the audio before track 1 (when the sheet has any) comes first, as " - 00".
void AddTracks(const SourceFile& image, const cue::CueSheet& sheet, bool hiddenTrack,
               std::vector<SourceFile>& out) {
    const String base = FolderPart(image.relative) + StemPart(NamePart(image.relative));
    cue::TrackSpan span;
    cue::CueError none;
    if (hiddenTrack && cue::FindTrackSpan(sheet, cue::kHiddenTrack, span, none))
        out.push_back({image.path, base + u" - 00.cue", IntToText(cue::kHiddenTrack)});
    for (const cue::CueTrack& track : sheet.tracks) {
        String number = IntToText(track.number);
        if (number.size() < 2)
            number = u"0" + number;
        String name = base + u" - " + number;
        if (!track.title.empty())
            name += u" - " + SafeNamePart(track.title);
        out.push_back({image.path, name + u".cue", IntToText(track.number)});
    }
}

struct Expansion {
    const StringList& decodable;
    bool hiddenTrack;
    std::vector<SourceFile> tracks;
    std::set<String> claimed; // folded paths of images a sheet covers
    std::vector<FileOutcome> failed;

    void Sheet(const SourceFile& source) {
        cue::CueSheet sheet;
        cue::CueError error;
        if (!ReadSheet(source.path, sheet, error))
            return Fail(source, error);
        const String folder = FolderPart(source.path);
        const StringList names = FileNamesIn(folder);
        std::vector<String> images;
        for (const cue::CueFile& file : sheet.files) {
            const String match = cue::MatchImageName(NamePart(file.name), names, decodable);
            if (match.empty())
                return Fail(source, {file.line, u"the audio file '" + file.name + u"' is missing"});
            images.push_back(folder + match);
        }
        for (const String& image : images)
            claimed.insert(Folded(image));
        AddTracks(source, sheet, hiddenTrack, tracks);
    }

    // True when the FLAC carries a sheet and became its tracks.
    bool Image(const SourceFile& source) {
        FileAccess file;
        cue::FlacDisc disc;
        if (!EqualsNoCase(ExtensionOf(source.path), u".flac") || !file.OpenRead(source.path) ||
            !cue::ReadFlacDisc(
                [&](uint64_t at, void* buffer, size_t length) {
                    return file.Seek(static_cast<int64_t>(at), FileAccess::kFromStart)
                               ? file.Read(buffer, static_cast<uint32_t>(length))
                               : 0u;
                },
                disc))
            return false;
        cue::CueSheet sheet;
        cue::CueError error;
        if (!cue::SheetInFlac(disc, NamePart(source.path), sheet, error))
            return false; // no sheet, or a broken one: the image converts whole
        AddTracks(source, sheet, hiddenTrack, tracks);
        return true;
    }

    void Fail(const SourceFile& source, const cue::CueError& error) {
        failed.push_back(
            Outcome(source.path, u"", FileStatus::kFailed, SheetReason(source.path, error)));
    }
};

} // namespace

void ExpandDiscImages(SourceScan& scan, const StringList& decodable, bool hiddenTrack) {
    Expansion expansion{decodable, hiddenTrack, {}, {}, {}};
    std::vector<SourceFile> files;
    for (const SourceFile& source : scan.sources) {
        if (EqualsNoCase(ExtensionOf(source.path), u".cue"))
            expansion.Sheet(source);
        else
            files.push_back(source);
    }
    std::vector<SourceFile> kept;
    for (const SourceFile& file : files)
        if (!expansion.claimed.contains(Folded(file.path)) && !expansion.Image(file))
            kept.push_back(file);
    kept.insert(kept.end(), expansion.tracks.begin(), expansion.tracks.end());
    scan.sources = std::move(kept);
    scan.skipped.insert(scan.skipped.end(), expansion.failed.begin(), expansion.failed.end());
}

} // namespace wm
