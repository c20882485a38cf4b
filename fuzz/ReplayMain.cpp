// Replays kept fuzz inputs through a target without libFuzzer, so that the native test run
// keeps every crash the fuzzers once found fixed. Each argument is a folder of inputs; a folder
// that holds none fails, so a lost corpus cannot pass silently.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::vector<std::filesystem::path> inputs;
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(argv[i], error))
            if (entry.is_regular_file())
                inputs.push_back(entry.path());
        if (inputs.empty()) {
            std::fprintf(stderr, "no inputs in %s\n", argv[i]);
            return 1;
        }
        std::sort(inputs.begin(), inputs.end());
        for (const auto& path : inputs) {
            std::ifstream file(path, std::ios::binary);
            std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                                       std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        }
        std::printf("%zu inputs from %s\n", inputs.size(), argv[i]);
    }
    return 0;
}
