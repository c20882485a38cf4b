// Shared checks of the tag block fuzzers: whatever the input, reading a block must stay in
// bounds, and the set it yields must survive a write/read round trip unchanged. A merge of the
// set into a copy of itself must leave the pictures last, numbered 1..n.
#pragma once

#include "fuzz/FuzzCheck.h"
#include "tags/AlbumArt.h"
#include "tags/IDTagSet.h"

namespace wm::fuzz {

inline bool SameEntries(const IDTagSet& a, const IDTagSet& b) {
    if (a.Count() != b.Count())
        return false;
    for (size_t i = 0; i < a.Count(); ++i) {
        const IDTagEntry &x = a.At(i), &y = b.At(i);
        if (x.Name != y.Name || x.Value != y.Value || x.Data != y.Data)
            return false;
    }
    return true;
}

template <class Write, class Read>
void CheckRoundTrip(const IDTagSet& set, Write write, Read read, const char* form) {
    std::vector<uint8_t> block = write(set);
    IDTagSet again;
    read(again, block);
    Check(SameEntries(set, again), form);
    Check(write(again) == block, form);
}

inline void CheckMergeKeepsPicturesLast(const IDTagSet& set, bool overwrite) {
    IDTagSet merged(set);
    merged.Merge(set, overwrite);
    size_t first = merged.Count();
    while (first > 0 && IsAlbumArtName(merged.At(first - 1).Name))
        --first;
    for (size_t i = 0; i < first; ++i)
        Check(!IsAlbumArtName(merged.At(i).Name), "pictures are not last after a merge");
    for (size_t i = first; i < merged.Count(); ++i) {
        String type, description;
        ParseAlbumArtName(merged.At(i).Name, &type, &description);
        Check(merged.At(i).Name ==
                  MakeAlbumArtName(static_cast<int>(i - first) + 1, type, description),
              "pictures are not numbered 1..n after a merge");
    }
}

inline void CheckWideRoundTrip(const IDTagSet& set) {
    CheckRoundTrip(
        set, [](const IDTagSet& s) { return s.Serialize(); },
        [](IDTagSet& s, const std::vector<uint8_t>& b) { s.Deserialize(b.data(), b.size()); },
        "wide round trip");
}

inline void CheckNarrowRoundTrip(const IDTagSet& set) {
    CheckRoundTrip(
        set, [](const IDTagSet& s) { return s.SerializeNarrow(); },
        [](IDTagSet& s, const std::vector<uint8_t>& b) { s.DeserializeNarrow(b.data(), b.size()); },
        "narrow round trip");
}

// What holds for any set read from a block of inputSize bytes.
inline void CheckReadSet(const IDTagSet& set, size_t inputSize) {
    // Every record but a final faulty one takes at least 5 bytes of the input.
    Check(set.Count() <= inputSize / 5 + 1, "more entries than the block can hold");
    size_t bytes = 0;
    for (size_t i = 0; i < set.Count(); ++i)
        bytes += set.At(i).Data.size();
    Check(bytes <= inputSize, "more data than the block holds");
    CheckMergeKeepsPicturesLast(set, inputSize % 2 == 0);
}

} // namespace wm::fuzz
