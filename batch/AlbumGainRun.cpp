#include "batch/AlbumGainRun.h"

#include "batch/AlbumTagWriter.h"
#include "batch/SourceScan.h"
#include "files/FileAccess.h"
#include "files/PathText.h"

#include <string>

namespace wm {

std::optional<LoudnessRecord> ReadLoudnessRecordFile(const String& path) {
    FileAccess file;
    if (!file.OpenRead(path))
        return std::nullopt;
    bool failed = false;
    const uint64_t size = file.Size(&failed);
    std::string text(static_cast<size_t>(size), '\0');
    if (failed || file.Read(text.data(), static_cast<uint32_t>(size), 0, &failed) != size || failed)
        return std::nullopt;
    return ReadLoudnessRecord(text);
}

String SourceAlbumKey(const SourceFile& source, SourceFactsReader& reader) {
    // A disc image's track reads the tags its cue sheet gives it.
    const TagLookup tags = reader.Read(source.path, source.track).tags;
    return AlbumKey(source.path, tags(u"album"), tags(u"album artist"), tags(u"artist"));
}

AlbumGainRun::AlbumGainRun(const std::vector<PlannedConversion>& plan, const ConversionSetup& setup,
                           const String& programFolder)
    : plan_(plan), setup_(setup), programFolder_(programFolder) {
    SourceFactsReader reader(programFolder);
    for (size_t i = 0; i < plan.size(); ++i)
        ledger_.Add(i, SourceAlbumKey(plan[i].source, reader));
}

void AlbumGainRun::ConversionEnded(uint32_t number, const FileOutcome& outcome) {
    const size_t track = number - 1;
    std::optional<LoudnessRecord> record;
    String failure = FileNamePart(outcome.input) + u" failed";
    if (outcome.status == FileStatus::kConverted) {
        record = ReadLoudnessRecordFile(LoudnessRecordPath(setup_, number));
        failure = u"the loudness of " + FileNamePart(outcome.input) + u" is unknown";
    }
    converted_[track] = outcome.status == FileStatus::kConverted;
    if (const auto album = ledger_.TrackEnded(track, record, failure))
        Finish(*album);
}

void AlbumGainRun::Finish(const AlbumVerdict& album) {
    for (size_t track : album.tracks) {
        if (!converted_[track])
            continue;
        const String& output = plan_[track].output;
        const String why = album.measured
                               ? WriteAlbumGain(output, album, programFolder_)
                               : u"another track of its album failed (" + album.reason + u")";
        if (!why.empty())
            missing_[output] = u"no album gain: " + why;
    }
}

} // namespace wm
