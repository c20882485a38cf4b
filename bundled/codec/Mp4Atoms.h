// The iTunes metadata of an MP4 file's movie box: free-form ("----", mean "com.apple.iTunes")
// atoms added to the "ilst" list inside moov/udta/meta, the sizes of every enclosing box grown
// to match. libavformat writes the standard atoms; players read ReplayGain, gapless (iTunSMPB)
// and other named tags only from free-form ones, which it cannot write.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wm::codec {

struct NamedText {
    std::string name; // UTF-8
    std::string value;
};

// `moov` holds one whole "moov" box. False (the box unchanged) when it has no
// udta/meta/ilst path or a box size that does not fit.
bool AddFreeFormAtoms(std::vector<uint8_t>& moov, const std::vector<NamedText>& tags);

// The free-form atoms of the names in `tags` (case-blind) replaced by the new values, the other
// atoms kept. False (the box unchanged) as for AddFreeFormAtoms.
bool ReplaceFreeFormAtoms(std::vector<uint8_t>& moov, const std::vector<NamedText>& tags);

// The iTunSMPB value: encoder delay, padding and the source's length in samples.
std::string ITunesGaplessInfo(uint32_t delay, uint32_t padding, uint64_t samples);

} // namespace wm::codec
