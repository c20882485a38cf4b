// Any byte string as a FLAC file's Vorbis comments (one comment a line) into the tag set and
// back out: no crash, no read outside the input, and the mapping settles after one round (what
// the encoder writes, the decoder reads back to the same comments).
#include "bundled/codec/VorbisComments.h"
#include "bundled/wav/TagSetBridge.h"

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace wm;

std::vector<std::string> RoundTrip(const std::vector<std::string_view>& comments) {
    wav::WaveTags tags;
    codec::ReadVorbisComments(comments, tags);
    // Through the host's block form, as the tags travel between the plug-ins.
    IDTagSet set;
    wav::ToTagSet(tags, set);
    IDTagSet arrived;
    const std::vector<uint8_t> block = set.Serialize();
    arrived.Deserialize(block.data(), block.size());
    return codec::MakeVorbisComments(wav::FromTagSet(arrived));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    std::vector<std::string_view> comments;
    for (size_t start = 0; start <= input.size();) {
        const size_t end = std::min(input.find('\n', start), input.size());
        comments.push_back(input.substr(start, end - start));
        start = end + 1;
    }
    const std::vector<std::string> once = RoundTrip(comments);
    const std::vector<std::string> twice = RoundTrip({once.begin(), once.end()});
    if (once != twice)
        std::abort();
    return 0;
}
