// Any bytes as a cue sheet, and as a FLAC file carrying one: no crash, no read outside the
// input, and what parses keeps its promises: tracks in order, a reason with every refusal, spans
// inside their files.
#include "bundled/cue/CueCodePages.h"
#include "bundled/cue/CueTracks.h"
#include "bundled/cue/FlacCueSheet.h"
#include "fuzz/FuzzCheck.h"

#include <algorithm>
#include <string>

using wm::fuzz::Check;

namespace {

using namespace wm::cue;

// The bytes after "fLaC" as a FLAC file's metadata.
bool SheetFromFlac(const std::string& bytes, CueSheet& sheet, CueError& error) {
    const std::string file = "fLaC" + bytes;
    FlacDisc disc;
    Check(ReadFlacDisc(
              [&](uint64_t at, void* buffer, size_t length) {
                  const size_t n =
                      at < file.size() ? std::min<size_t>(length, file.size() - at) : 0;
                  std::copy_n(file.data() + at, n, static_cast<char*>(buffer));
                  return n;
              },
              disc),
          "a file that starts with fLaC is FLAC");
    const bool read = SheetInFlac(disc, u"disc.flac", sheet, error);
    Check(read || !error.reason.empty(), "a refused FLAC sheet says why");
    return read;
}

bool SheetFromText(const std::string& bytes, CueSheet& sheet, CueError& error) {
    wm::String text;
    CueEncoding encoding{};
    if (!DecodeCueBytes(bytes, DecodeCodePage, text, encoding, error) ||
        !ParseCueText(text, sheet, error)) {
        Check(!error.reason.empty(), "a refused sheet says why");
        return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The first byte chooses the form, so that both grow their own corpus.
    if (size == 0)
        return 0;
    const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    CueSheet sheet;
    CueError error;
    const bool fromText = (data[0] & 1) == 0;
    if (!(fromText ? SheetFromText(bytes, sheet, error) : SheetFromFlac(bytes, sheet, error)))
        return 0;
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
            Check(!error.reason.empty() && (error.line != 0 || !fromText),
                  "a span past the end names its line");
        TrackTags(sheet, track.number, wm::IDTagSet());
    }
    return 0;
}
