// Where the MPEG audio of a file lies between its tags. Taggers stack them in every order: more
// than one ID3v2 tag in front, and ID3v1, APE and ID3v2 tags (with or without a footer) after
// the audio. Handing any of them to the frame decoder as audio can stall it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace wm::codec {

enum class Mp3TagKind { Id3v2, Id3v1, Ape };

struct Mp3TagPlace {
    Mp3TagKind kind;
    uint64_t offset;
    uint64_t length; // may reach past the end of the file for a front ID3v2 tag cut short
};

struct Mp3Layout {
    uint64_t audioStart = 0; // the audio lies in [audioStart, audioEnd)
    uint64_t audioEnd = 0;
    std::vector<Mp3TagPlace> tags; // front tags from the start, then the end's from the end inwards
};

// Copies up to `length` bytes from `offset` of the file; fewer only at its end.
using ReadAtFn = std::function<size_t(uint64_t offset, uint8_t* buffer, size_t length)>;

// Trailing tags looked for after this many (real files carry up to three).
constexpr size_t kMaxTrailingTags = 8;
// An ID3v2 tag at the end without a footer is found by searching this far back for its header.
constexpr size_t kTrailingId3Search = 1024 * 1024;

Mp3Layout FindMp3Layout(uint64_t fileSize, const ReadAtFn& readAt);

// Where the ID3v1, APE and ID3v2 tags stacked at the end of any audio file begin (the file's
// size when it ends in none): a demuxer that reads them as audio finds damage there.
uint64_t TrailingTagsStart(uint64_t fileSize, const ReadAtFn& readAt);

} // namespace wm::codec
