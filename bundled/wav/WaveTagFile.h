// Tags in a wave file: reading them from the chunks, and rewriting the file with new ones.
#pragma once

#include "bundled/wav/WaveError.h"

#include "bundled/wav/ByteSource.h"
#include "bundled/wav/RiffChunks.h"
#include "bundled/wav/WaveTags.h"

#include <cstdint>
#include <string>
#include <vector>

namespace wm::wav {

// Tag chunks larger than this are not read (a picture of that size is no cover).
constexpr uint64_t kMaxTagChunk = 256u << 20;

// The "id3 "/"ID3 " chunks, then the LIST/INFO chunks, one entry per name: where two carry a
// name the first wins, so ID3 (full Unicode) beats INFO and the first chunk of a kind a later
// one. The pictures are those of the first ID3 chunk that has any.
void ReadWaveTags(ByteSource& source, const RiffFile& file, WaveTags& tags);

// The tag chunks written after the audio: LIST/INFO, then "id3 " (pictures and full Unicode);
// empty when there is nothing to write.
Bytes BuildTagChunks(const WaveTags& tags);

// Sequential output of the rewrite.
class ByteSink {
  public:
    virtual ~ByteSink() = default;
    virtual bool Write(const void* data, size_t length) = 0;
};

// The rewritten file: the header, the original chunks in order except the tag chunks (and the
// JUNK/PAD that padded them), then a new LIST/INFO and a new "id3 " chunk.
struct TagRewritePlan {
    RiffFile file;
    std::vector<size_t> kept; // indices into file.chunks
    Bytes infoChunk;          // complete chunks, padding included; empty when not written
    Bytes id3Chunk;
    uint64_t outputSize = 0;
    bool changes = false; // false: the file already is what the rewrite would write
};

// Checks that `source` is a wave file this rewrite can handle and plans the output. Refuses
// (false, `error`) other files, RF64 files with a chunk cut short, and a RIFF result past 4 GiB.
bool PlanTagRewrite(ByteSource& source, const WaveTags& tags, TagRewritePlan& plan,
                    WaveError& error);
// Streams the planned file to `sink`, copying the chunk bodies in large pieces.
bool WriteTagRewrite(ByteSource& source, const TagRewritePlan& plan, ByteSink& sink,
                     WaveError& error);

} // namespace wm::wav
