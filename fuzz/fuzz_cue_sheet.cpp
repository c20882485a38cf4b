// Any bytes as a cue sheet: no crash, no read outside the input, and what parses keeps its
// promises: tracks in order, a reason with every refusal, spans inside their files.
#include "bundled/cue/CueCodePages.h"
#include "bundled/cue/CueTracks.h"
#include "fuzz/FuzzCheck.h"

#include <string>

using wm::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace wm::cue;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    wm::String text;
    CueEncoding encoding{};
    CueError error;
    if (!DecodeCueBytes(bytes, DecodeCodePage, text, encoding, error)) {
        Check(!error.reason.empty(), "a refused text says why");
        return 0;
    }
    CueSheet sheet;
    if (!ParseCueText(text, sheet, error)) {
        Check(!error.reason.empty(), "a refused sheet says why");
        return 0;
    }
    Check(!sheet.tracks.empty(), "a sheet has a track");
    for (size_t i = 0; i < sheet.tracks.size(); ++i) {
        const CueTrack& track = sheet.tracks[i];
        Check(track.hasIndex1 && track.file < sheet.files.size(), "a track has its start");
        Check(i == 0 || track.number > sheet.tracks[i - 1].number, "tracks in order");
        TrackSpan span;
        Check(FindTrackSpan(sheet, track.number, span, error), "each track is found");
        Check(span.toFileEnd || span.endFrame > span.startFrame, "a span is not empty");
        const uint64_t fileSamples = FrameToSample(span.startFrame, 44100) + 588;
        if (SpanFits(span, fileSamples, 44100, error))
            Check(span.toFileEnd || FrameToSample(span.endFrame, 44100) <= fileSamples);
        else
            Check(!error.reason.empty() && error.line != 0, "a span past the end names a line");
        TrackTags(sheet, track.number, wm::IDTagSet());
    }
    return 0;
}
