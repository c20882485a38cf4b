// Any byte string as an MP3 file's tags: the ID3v2 tag at its start (however long it claims to
// be), ID3v1 and APE at its end, read into the tag set the way the MP3 decoder does. No crash, no
// read outside the input, and the ID3v2.3 tag the encoder writes from them reads back to the
// same tag when written again.
#include "bundled/codec/Mp3Tags.h"
#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/TagSetBridge.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace wm;
    wav::WaveTags tags;
    const uint64_t length = codec::Id3v2Length(data, size);
    if (length != 0)
        wav::ReadId3Tag(data, static_cast<size_t>(std::min<uint64_t>(length, size)), tags);
    size_t end = size;
    wav::WaveTags old;
    if (end >= 128 && codec::ReadId3v1(data + end - 128, 128, old)) {
        codec::AddMissing(tags, old);
        end -= 128;
    }
    if (end >= 32)
        (void)codec::ApeTagLength(data + end - 32, 32);

    IDTagSet set;
    wav::ToTagSet(tags, set);
    const wav::Bytes first = wav::BuildId3Tag(wav::FromTagSet(set), 3);
    wav::WaveTags reread;
    wav::ReadId3Tag(first.data(), first.size(), reread);
    const wav::Bytes second = wav::BuildId3Tag(reread, 3);
    wav::WaveTags again;
    wav::ReadId3Tag(second.data(), second.size(), again);
    if (wav::BuildId3Tag(again, 3) != second)
        std::abort();
    return 0;
}
