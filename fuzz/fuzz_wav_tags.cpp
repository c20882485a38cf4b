// Any byte string through the wave tag readers: as a LIST/INFO body, as an ID3v2 tag and, when
// it is a RIFF file, through the whole-file tag reader and rewrite. No crash, no read outside
// the input, and writer and reader agree on what they exchange.
#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/InfoChunk.h"
#include "bundled/wav/WaveHeaderParser.h"
#include "bundled/wav/WaveTagFile.h"
#include "fuzz/FuzzCheck.h"

#include <cstring>
#include <string>
#include <vector>

using wm::fuzz::Check;

namespace {

using namespace wm::wav;

bool SameText(const std::vector<TextTag>& a, const std::vector<TextTag>& b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i].name != b[i].name || a[i].value != b[i].value)
            return false;
    return true;
}

void Info(const Bytes& input) {
    WaveTags tags;
    ReadInfoList(input.data(), input.size(), tags);
    // What INFO can hold comes back exactly.
    std::vector<TextTag> expected;
    uint8_t id[4];
    for (const TextTag& t : tags.text)
        if (NameToInfoId(t.name, id) && wm::Narrow(t.value).size() <= kMaxInfoValueBytes)
            expected.push_back(t);
    const Bytes list = BuildInfoList(tags);
    Check(list.size() % 2 == 0 && list.empty() == expected.empty());
    WaveTags back;
    if (!list.empty())
        ReadInfoList(list.data() + 8, list.size() - 8, back);
    Check(SameText(back.text, expected));
}

void Id3(const Bytes& input) {
    WaveTags tags;
    ReadId3Tag(input.data(), input.size(), tags);
    for (const Picture& p : tags.pictures)
        Check(p.type >= 1 && p.type <= 20 && !p.data.empty() && p.data.size() < input.size());
    // One trip through writer and reader settles the values; from then on nothing changes.
    const Bytes first = BuildId3Tag(tags);
    WaveTags settled;
    ReadId3Tag(first.data(), first.size(), settled);
    const Bytes second = BuildId3Tag(settled);
    WaveTags again;
    ReadId3Tag(second.data(), second.size(), again);
    Check(BuildId3Tag(again) == second);
}

struct NullSink final : ByteSink {
    Bytes out;
    bool Write(const void* data, size_t length) override {
        const auto* p = static_cast<const uint8_t*>(data);
        out.insert(out.end(), p, p + length);
        return true;
    }
};

void File(const Bytes& input) {
    MemoryByteSource source(input.data(), input.size());
    RiffFile riff;
    WaveError error = kWaveOk;
    if (!WalkRiffChunks(source, riff, error))
        return;
    WaveTags tags;
    ReadWaveTags(source, riff, tags);
    TagRewritePlan plan;
    if (!PlanTagRewrite(source, tags, plan, error))
        return;
    NullSink sink;
    Check(WriteTagRewrite(source, plan, sink, error));
    Check(sink.out.size() == plan.outputSize);
    // The rewritten file holds the same audio.
    WaveLayout before, after;
    MemoryByteSource rewritten(sink.out.data(), sink.out.size());
    Check(ParseWaveHeader(source, before, error) && ParseWaveHeader(rewritten, after, error));
    Check(before.dataLength == after.dataLength &&
          std::memcmp(input.data() + before.dataOffset, sink.out.data() + after.dataOffset,
                      before.dataLength) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A copy of exactly `size` bytes, so that any over-read is caught by AddressSanitizer.
    const Bytes input(data, data + size);
    Info(input);
    Id3(input);
    File(input);
    return 0;
}
