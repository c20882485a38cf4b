// Any byte string as the comments of an Ogg Opus or Vorbis file (one comment a line), pictures
// and R128 gains included, into the tag set and back out: no crash, no read outside the input,
// and the mapping settles after one round (what the encoder writes, the decoder reads back to
// the same comments).
#include "bundled/codec/OggComments.h"
#include "bundled/wav/TagSetBridge.h"

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace wm;

// False when the comments are refused (a broken picture).
bool RoundTrip(const std::vector<std::string_view>& comments, codec::OggCodec codec,
               std::vector<std::string>& out) {
    wav::WaveTags tags;
    std::string why;
    if (!codec::ReadOggComments(comments, codec, tags, why))
        return false;
    // Through the host's block form, as the tags travel between the plug-ins.
    IDTagSet set;
    wav::ToTagSet(tags, set);
    IDTagSet arrived;
    const std::vector<uint8_t> block = set.Serialize();
    arrived.Deserialize(block.data(), block.size());
    out = codec::MakeOggComments(wav::FromTagSet(arrived), codec);
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    // The first byte picks the codec.
    const auto codec = data[0] & 1 ? codec::OggCodec::Opus : codec::OggCodec::Vorbis;
    const std::string_view input(reinterpret_cast<const char*>(data + 1), size - 1);
    std::vector<std::string_view> comments;
    for (size_t start = 0; start <= input.size();) {
        const size_t end = std::min(input.find('\n', start), input.size());
        comments.push_back(input.substr(start, end - start));
        start = end + 1;
    }
    std::vector<std::string> once, twice;
    if (!RoundTrip(comments, codec, once))
        return 0;
    if (!RoundTrip({once.begin(), once.end()}, codec, twice) || once != twice)
        std::abort();
    return 0;
}
