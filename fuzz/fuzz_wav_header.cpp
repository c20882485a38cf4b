// Any byte string through the wave header parser: no crash, no read outside the input, and a
// layout that keeps its promises. What parses must also survive a trip through the writer.
#include "bundled/wav/WaveFormatRules.h"
#include "bundled/wav/WaveHeaderParser.h"
#include "bundled/wav/WaveHeaderWriter.h"
#include "fuzz/FuzzCheck.h"

#include <cstring>
#include <string>
#include <vector>

using wm::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace wm::wav;
    // A copy of exactly `size` bytes, so that any over-read is caught by AddressSanitizer.
    std::vector<uint8_t> input(data, data + size);
    MemoryByteSource source(input.data(), input.size());
    WaveLayout layout;
    WaveError error = kWaveOk;
    if (!ParseWaveHeader(source, layout, error)) {
        Check(error != kWaveOk && error < kWaveErrorCount);
        return 0;
    }
    const WmWaveFormat& f = layout.format;
    Check(layout.dataOffset <= size && layout.dataLength <= size - layout.dataOffset);
    Check(f.blockAlign != 0 && layout.dataLength % f.blockAlign == 0);
    WmWaveFormat again = f;
    Check(NormaliseWaveFormat(again, error) && std::memcmp(&again, &f, sizeof f) == 0);

    WaveHeaderWriter writer;
    Check(writer.Init(f, error));
    Check(SameSampleLayout(writer.Format(), f));
    const uint64_t frames = layout.dataLength / f.blockAlign;
    std::vector<uint8_t> written = writer.Build(frames * f.blockAlign);
    Check(written.size() == writer.HeaderSize());
    written.insert(written.end(), input.begin() + static_cast<std::ptrdiff_t>(layout.dataOffset),
                   input.begin() +
                       static_cast<std::ptrdiff_t>(layout.dataOffset + layout.dataLength));
    MemoryByteSource reread(written.data(), written.size());
    WaveLayout back;
    Check(ParseWaveHeader(reread, back, error));
    Check(std::memcmp(&back.format, &writer.Format(), sizeof(WmWaveFormat)) == 0);
    Check(back.dataOffset == writer.HeaderSize() && back.dataLength == layout.dataLength);
    return 0;
}
