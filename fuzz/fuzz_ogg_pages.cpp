// Any bytes as an Ogg file, before a codec library reads it: the look at the pages stays
// inside the input and keeps its promises. Kinds are named only for a file that starts with a
// page, and a file that ends whole holds at least one page header.
#include "bundled/ogg/OggPages.h"
#include "fuzz/FuzzCheck.h"

#include <cstring>
#include <vector>

using wm::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace wm;
    // A copy of exactly `size` bytes, so that any over-read is caught by AddressSanitizer.
    std::vector<uint8_t> input(data, data + size);
    wav::MemoryByteSource source(input.data(), input.size());
    const std::vector<String> kinds = bundled::OggStreamKinds(source);
    const bool startsWithPage = size >= 4 && std::memcmp(input.data(), "OggS", 4) == 0;
    Check(kinds.empty() || startsWithPage, "kinds named for a file without a first page");
    constexpr size_t kPageHeaderBytes = 27;
    if (bundled::OggEndsWhole(source))
        Check(size >= kPageHeaderBytes, "a file shorter than a page header ends whole");
    const String reason = bundled::NotOggOf(source, kinds, u"Vorbis");
    Check(!reason.empty(), "a refusal without a reason");
    return 0;
}
