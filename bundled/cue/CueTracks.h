// One track of a cue sheet: where its audio lies in which image file, the image file the sheet
// means, and the tags the track carries. Portable.
#pragma once

#include "bundled/cue/CueSheet.h"
#include "tags/IDTagSet.h"

namespace wm::cue {

// The number that asks for the audio before track 1's INDEX 01 ("hidden track one audio").
constexpr uint32_t kHiddenTrack = 0;

// A gap (INDEX 00 to INDEX 01) belongs to the end of the track before it, so a track runs from
// its INDEX 01 to the next track's INDEX 01 in the same file, or to the end of its file.
struct TrackSpan {
    size_t file = 0;
    uint64_t startFrame = 0;
    bool toFileEnd = true;
    uint64_t endFrame = 0; // when !toFileEnd
    uint32_t line = 0;     // the line of the INDEX the span starts at
};

// False with a reason when the sheet has no such track (or no audio before track 1).
bool FindTrackSpan(const CueSheet& sheet, uint32_t track, TrackSpan& span, CueError& error);

// Sample frames of a CD-frame time at a rate (588 a frame at 44.1 kHz).
uint64_t FrameToSample(uint64_t frame, uint32_t rate);

// Checks a span against its file's length in sample frames: it must start before the end and
// end no later than it.
bool SpanFits(const TrackSpan& span, uint64_t fileSamples, uint32_t rate, CueError& error);

// The file a FILE line means, among the names in the sheet's folder: the name itself (letter
// case aside), else one with the same stem and an extension from `extensions` (a sheet naming
// "disc.wav" beside the re-encoded "disc.flac"). Empty when none fits.
String MatchImageName(StringView wanted, const StringList& folderNames,
                      const StringList& extensions);

// The track's tags: the sheet's (title, artist, album, album artist, track n/total, year,
// genre, disc, ISRC, replay gain) over the image's own, whose other tags and pictures stay.
IDTagSet TrackTags(const CueSheet& sheet, uint32_t track, const IDTagSet& imageTags);

} // namespace wm::cue
