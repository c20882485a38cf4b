// Any byte string as an MP3 file: the tags in front of and behind its audio are skipped the way
// the MP3 decoder skips them. The walk ends (a hang is a finding: run.sh gives each input a
// time limit), the audio lies inside the file, and the tags found tile the bytes around it
// without gaps or overlaps.
#include "bundled/codec/Mp3Layout.h"
#include "fuzz/FuzzCheck.h"

#include <algorithm>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace wm;
    const codec::Mp3Layout layout =
        codec::FindMp3Layout(size, [data, size](uint64_t at, uint8_t* to, size_t n) {
            fuzz::Check(at <= size, "reads start inside the file");
            const size_t got = std::min<size_t>(n, size - static_cast<size_t>(at));
            std::memcpy(to, data + at, got);
            return got;
        });
    fuzz::Check(layout.audioStart <= layout.audioEnd && layout.audioEnd <= size,
                "the audio lies inside the file");
    uint64_t front = 0, back = size;
    size_t trailing = 0;
    for (const codec::Mp3TagPlace& tag : layout.tags) {
        fuzz::Check(tag.length > 0, "every tag found has a length");
        if (tag.offset < layout.audioStart) {
            fuzz::Check(tag.offset == front && tag.kind == codec::Mp3TagKind::Id3v2 && !trailing,
                        "front tags are ID3v2 tags one after another, listed first");
            front += tag.length;
            continue;
        }
        fuzz::Check(tag.offset + tag.length == back, "end tags follow each other inwards");
        back = tag.offset;
        ++trailing;
    }
    fuzz::Check(std::min<uint64_t>(front, size) == layout.audioStart,
                "front tags end at the audio");
    fuzz::Check(back == layout.audioEnd, "end tags begin at the audio");
    fuzz::Check(trailing <= codec::kMaxTrailingTags, "end tags are counted");
    return 0;
}
