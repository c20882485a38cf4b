// Reads arbitrary bytes as a narrow (UTF-8) tag block. Text read from UTF-8 is always valid
// UTF-16, so both block forms must give it back unchanged.
#include "fuzz/fuzz_tagblock.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    wm::IDTagSet set;
    set.DeserializeNarrow(data, size);
    wm::fuzz::CheckReadSet(set, size);
    wm::fuzz::CheckNarrowRoundTrip(set);
    wm::fuzz::CheckWideRoundTrip(set);
    return 0;
}
