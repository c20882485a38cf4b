// Any bytes as a command file: the UTF-16 text and the options read from it.
#include "fuzz/fuzz_options.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace wm;
    String text = OptionTextOfCommandFile(data, size);
    fuzz::Check(text.size() == size / 2, "text length is not half the bytes");
    if (size >= 2)
        fuzz::Check(text[0] == (data[0] | data[1] << 8), "bytes not read as little-endian");
    OptionStore store;
    store.Fill(text);
    fuzz::CheckNames(store);
    fuzz::CheckEncoderLineReadsBack(store);
    return 0;
}
