// Reads arbitrary bytes as a wide (UTF-16) tag block.
#include "fuzz/fuzz_tagblock.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    wm::IDTagSet set;
    set.Deserialize(data, size);
    wm::fuzz::CheckReadSet(set, size);
    wm::fuzz::CheckWideRoundTrip(set);
    return 0;
}
