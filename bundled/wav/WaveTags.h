// The tags a wave file carries, in the plug-ins' own terms: text tags under the host's names and
// pictures with their ID3 picture type. The host's tag set is built from this (TagSetBridge.h).
#pragma once

#include "text/String.h"

#include <cstdint>
#include <vector>

namespace wm::wav {

using Bytes = std::vector<uint8_t>;

struct TextTag {
    String name;  // "title", "Encoded By", or a format's own id ("ISRC", "TMOO") when unmapped
    String value; // several values separated by CR (except in free text, see IsFreeTextTag)
};

struct Picture {
    uint8_t type = 3; // ID3 picture type, 1 to 20
    String description;
    Bytes data;
};

struct WaveTags {
    std::vector<TextTag> text;
    std::vector<Picture> pictures;

    bool Empty() const { return text.empty() && pictures.empty(); }
    // First entry of that name, compared case-blind; null when there is none.
    TextTag* Find(StringView name);
    const TextTag* Find(StringView name) const;
    // Replaces the value of the first entry of that name, or appends one.
    void Put(StringView name, StringView value);
    // Adds a further value to an existing name (CR-separated, once per distinct value), or
    // appends the entry. A free-text tag (a title, a comment) keeps its first value.
    void AddValue(StringView name, StringView value);
    // Appends the pictures. Type 0 ("other") and unknown types have no name of their own: such a
    // picture is taken as the front cover when there is no real one, since that is what most of
    // them are, and as an illustration otherwise.
    void AdoptPictures(std::vector<Picture> found);
};

} // namespace wm::wav
