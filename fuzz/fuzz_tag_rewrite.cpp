// Any byte string as the front of a finished FLAC file and as an MP4 movie box, the way the tag
// writers meet them: the FLAC blocks read and written again with new tags (and read back: the
// new front must parse and end where it says), free-form atoms replaced in the movie box (its
// size field must stay its length). Also any text as a loudness record. No crash, no read
// outside the input.
#include "FuzzCheck.h"
#include "bundled/codec/FlacMetadata.h"
#include "bundled/codec/Mp4Atoms.h"
#include "tags/ReplayGain.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

using Bytes = std::vector<uint8_t>;

wm::codec::ReadAtFunction Reader(const Bytes& bytes) {
    return [&bytes](uint64_t offset, void* buffer, size_t length) {
        const size_t n =
            offset < bytes.size() ? std::min<size_t>(length, bytes.size() - offset) : 0;
        if (n > 0)
            std::memcpy(buffer, bytes.data() + offset, n);
        return n;
    };
}

void FlacFront(const Bytes& file) {
    wm::codec::FlacFront front;
    std::string why;
    if (!wm::codec::ReadFlacFront(Reader(file), front, why))
        return;
    wm::wav::WaveTags tags;
    tags.text.push_back({u"replaygain_track_gain", u"-6.52 dB"});
    const Bytes rewritten = wm::codec::RewriteFlacTags(front, tags, 16);
    wm::codec::FlacFront again;
    wm::fuzz::Check(wm::codec::ReadFlacFront(Reader(rewritten), again, why),
                    "the new front parses");
    wm::fuzz::Check(again.audioAt == rewritten.size(), "the new front ends where it says");
}

void Movie(Bytes moov) {
    if (moov.size() >= 4) { // a size field that holds: the paths inside are what is fuzzed
        const auto size = static_cast<uint32_t>(moov.size());
        moov[0] = static_cast<uint8_t>(size >> 24);
        moov[1] = static_cast<uint8_t>(size >> 16);
        moov[2] = static_cast<uint8_t>(size >> 8);
        moov[3] = static_cast<uint8_t>(size);
    }
    if (!wm::codec::ReplaceFreeFormAtoms(moov, {{"replaygain_track_gain", "-1.00 dB"}}))
        return;
    const uint32_t size =
        uint32_t{moov[0]} << 24 | uint32_t{moov[1]} << 16 | uint32_t{moov[2]} << 8 | moov[3];
    wm::fuzz::Check(size == moov.size(), "the movie box's size is its length");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes bytes(data, data + size);
    FlacFront(bytes);
    Movie(bytes);
    (void)wm::ReadLoudnessRecord(std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
