#include "bundled/cue/CueTracks.h"

#include "text/NumberText.h"

namespace wm::cue {

namespace {

String Num(uint64_t n) {
    return IntToText(static_cast<int64_t>(n));
}

String StemOf(StringView name) {
    const size_t dot = name.find_last_of(u'.');
    const size_t slash = name.find_last_of(u"\\/");
    if (dot == StringView::npos || (slash != StringView::npos && dot < slash))
        return String(name);
    return String(name.substr(0, dot));
}

String ExtensionPart(StringView name) {
    return String(name.substr(StemOf(name).size()));
}

const CueTrack* TrackNumbered(const CueSheet& sheet, uint32_t number, size_t& position) {
    for (position = 0; position < sheet.tracks.size(); ++position)
        if (sheet.tracks[position].number == number)
            return &sheet.tracks[position];
    return nullptr;
}

void Put(IDTagSet& tags, StringView name, StringView value) {
    if (value.empty())
        return;
    tags.Remove(name);
    tags.Add(name, value);
}

void PutRemark(IDTagSet& tags, const std::vector<CueRemark>& remarks, StringView remark,
               StringView name) {
    if (const CueRemark* found = FindRemark(remarks, remark))
        Put(tags, name, found->value);
}

} // namespace

bool FindTrackSpan(const CueSheet& sheet, uint32_t track, TrackSpan& span, CueError& error) {
    error = CueError{};
    if (sheet.tracks.empty())
        return error.reason = u"the sheet has no tracks", false;
    if (track == kHiddenTrack) {
        const CueTrack& first = sheet.tracks.front();
        if (first.index1 == 0)
            return error.reason = u"there is no audio before track 1", false;
        span = {first.file, 0, false, first.index1, first.line};
        return true;
    }
    size_t position = 0;
    const CueTrack* found = TrackNumbered(sheet, track, position);
    if (!found)
        return error.reason = u"the sheet has no track " + Num(track), false;
    span = {found->file, found->index1, true, 0, found->index1Line};
    if (position + 1 < sheet.tracks.size() && sheet.tracks[position + 1].file == found->file) {
        span.toFileEnd = false;
        span.endFrame = sheet.tracks[position + 1].index1;
    }
    return true;
}

uint64_t FrameToSample(uint64_t frame, uint32_t rate) {
    return frame / kFramesPerSecond * rate + frame % kFramesPerSecond * rate / kFramesPerSecond;
}

bool SpanFits(const TrackSpan& span, uint64_t fileSamples, uint32_t rate, CueError& error) {
    error = CueError{};
    const uint64_t start = FrameToSample(span.startFrame, rate);
    const uint64_t end = span.toFileEnd ? fileSamples : FrameToSample(span.endFrame, rate);
    if (start < fileSamples && end <= fileSamples)
        return true;
    const uint64_t fileFrames = rate ? fileSamples * kFramesPerSecond / rate : 0;
    error.line = span.line;
    error.reason = u"the time " +
                   FramesText(start < fileSamples ? span.endFrame : span.startFrame) +
                   u" lies past the end of the audio file (" + FramesText(fileFrames) + u")";
    return false;
}

String MatchImageName(StringView wanted, const StringList& folderNames,
                      const StringList& extensions) {
    for (const String& name : folderNames)
        if (EqualsNoCase(name, wanted))
            return name;
    const String stem = StemOf(wanted);
    for (const String& extension : extensions)
        for (const String& name : folderNames)
            if (EqualsNoCase(StemOf(name), stem) && EqualsNoCase(ExtensionPart(name), extension))
                return name;
    return {};
}

IDTagSet TrackTags(const CueSheet& sheet, uint32_t track, const IDTagSet& imageTags) {
    IDTagSet tags(imageTags);
    size_t position = 0;
    const CueTrack* found = TrackNumbered(sheet, track, position);
    const CueTrack none;
    const CueTrack& own = found ? *found : none;
    Put(tags, u"album", sheet.title);
    Put(tags, u"album artist", sheet.performer);
    Put(tags, u"artist", own.performer.empty() ? sheet.performer : own.performer);
    Put(tags, u"title", own.title);
    Put(tags, u"track", Num(own.number) + u"/" + Num(sheet.tracks.size()));
    Put(tags, u"ISRC", own.isrc);
    PutRemark(tags, sheet.remarks, u"DATE", u"year");
    PutRemark(tags, sheet.remarks, u"GENRE", u"genre");
    PutRemark(tags, sheet.remarks, u"DISCNUMBER", u"disc");
    PutRemark(tags, sheet.remarks, u"COMMENT", u"comment");
    for (const CueRemark& remark : sheet.remarks)
        if (remark.name.starts_with(u"REPLAYGAIN_ALBUM_"))
            Put(tags, u"replaygain_album_" + remark.name.substr(17), remark.value);
    for (const CueRemark& remark : own.remarks)
        if (remark.name.starts_with(u"REPLAYGAIN_TRACK_"))
            Put(tags, u"replaygain_track_" + remark.name.substr(17), remark.value);
    // The image's own track gain measured the whole disc, not this track.
    if (!FindRemark(own.remarks, u"REPLAYGAIN_TRACK_GAIN")) {
        tags.Remove(u"replaygain_track_gain");
        tags.Remove(u"replaygain_track_peak");
    }
    tags.Remove(u"CUESHEET");
    return tags;
}

} // namespace wm::cue
