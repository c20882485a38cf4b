#include "bundled/wav/WaveTagFile.h"

#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/InfoChunk.h"
#include "bundled/wav/WaveHeaderParser.h"
#include "endian/LittleEndian.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace wm::wav {

namespace {

constexpr size_t kCopyBuffer = 1 << 20;

bool IsInfoList(const RiffChunk& c) {
    return c.Is("LIST") && std::memcmp(c.listType.data(), "INFO", 4) == 0;
}
bool IsId3(const RiffChunk& c) {
    return c.Is("id3 ") || c.Is("ID3 ");
}
bool IsPadding(const RiffChunk& c) {
    return c.Is("JUNK") || c.Is("PAD ") || c.Is("junk");
}

bool ReadBody(ByteSource& source, const RiffChunk& c, Bytes& body) {
    if (c.size > kMaxTagChunk)
        return false;
    body.resize(static_cast<size_t>(c.size));
    return source.Read(c.Body(), body.data(), body.size()) == body.size();
}

Bytes MakeChunk(const char (&id)[5], const Bytes& body) {
    if (body.empty())
        return {};
    Bytes chunk(8);
    std::memcpy(chunk.data(), id, 4);
    PutLe32(chunk.data() + 4, static_cast<uint32_t>(body.size()));
    chunk.insert(chunk.end(), body.begin(), body.end());
    if (chunk.size() & 1)
        chunk.push_back(0);
    return chunk;
}

Bytes Id3Chunk(const WaveTags& tags) {
    return MakeChunk("id3 ", BuildId3Tag(tags));
}

uint64_t StoredLength(const RiffChunk& c) {
    return 8 + c.size + (c.size & 1);
}

// Collects output in one large buffer; big bodies are read straight into it.
class Copier {
  public:
    Copier(ByteSource& source, ByteSink& sink) : source_(source), sink_(sink) {}

    bool Ok() const { return buffer_ != nullptr; }

    bool Put(const void* data, size_t length) {
        const auto* p = static_cast<const uint8_t*>(data);
        while (length) {
            if (used_ == kCopyBuffer && !Flush())
                return false;
            const size_t n = std::min(length, kCopyBuffer - used_);
            std::memcpy(buffer_.get() + used_, p, n);
            used_ += n;
            p += n;
            length -= n;
        }
        return true;
    }

    bool Copy(uint64_t offset, uint64_t length) {
        while (length) {
            if (used_ == kCopyBuffer && !Flush())
                return false;
            const size_t n = static_cast<size_t>(std::min<uint64_t>(length, kCopyBuffer - used_));
            if (source_.Read(offset, buffer_.get() + used_, n) != n)
                return false;
            used_ += n;
            offset += n;
            length -= n;
        }
        return true;
    }

    bool Flush() {
        const bool ok = used_ == 0 || sink_.Write(buffer_.get(), used_);
        used_ = 0;
        return ok;
    }

  private:
    ByteSource& source_;
    ByteSink& sink_;
    std::unique_ptr<uint8_t[]> buffer_{new (std::nothrow) uint8_t[kCopyBuffer]};
    size_t used_ = 0;
};

// Whether the file already ends in exactly the planned tag chunks after the kept ones.
bool SameTail(ByteSource& source, const TagRewritePlan& plan) {
    const RiffFile& file = plan.file;
    for (size_t i = 0; i < plan.kept.size(); ++i)
        if (plan.kept[i] != i)
            return false;
    const uint64_t tail = plan.kept.size() < file.chunks.size()
                              ? file.chunks[plan.kept.size()].offset
                              : file.fileSize;
    Bytes expected = plan.infoChunk;
    expected.insert(expected.end(), plan.id3Chunk.begin(), plan.id3Chunk.end());
    if (file.fileSize - tail != expected.size())
        return false;
    // The stored RIFF size must be right as well (in ds64 for RF64).
    uint8_t riffSize[8] = {};
    const uint64_t at = file.rf64 ? file.chunks[0].Body() : 4;
    if (source.Read(at, riffSize, 8) != 8 ||
        (file.rf64 ? Le64(riffSize) : Le32(riffSize)) != plan.outputSize - 8)
        return false;
    Bytes actual(expected.size());
    return source.Read(tail, actual.data(), actual.size()) == actual.size() && actual == expected;
}

} // namespace

void ReadWaveTags(ByteSource& source, const RiffFile& file, WaveTags& tags) {
    // Each chunk on its own: two tags of one kind are two opinions, not two values.
    std::vector<WaveTags> id3, info;
    Bytes body;
    for (const RiffChunk& c : file.chunks) {
        if (IsInfoList(c) && ReadBody(source, c, body))
            ReadInfoList(body.data(), body.size(), info.emplace_back());
        else if (IsId3(c) && ReadBody(source, c, body))
            ReadId3Tag(body.data(), body.size(), id3.emplace_back());
    }
    // ID3 (Unicode, more fields) before INFO; the first chunk of a kind before later ones.
    id3.insert(id3.end(), std::make_move_iterator(info.begin()),
               std::make_move_iterator(info.end()));
    for (WaveTags& chunk : id3) {
        for (TextTag& t : chunk.text)
            if (!tags.Find(t.name))
                tags.text.push_back(std::move(t));
        if (tags.pictures.empty())
            tags.pictures = std::move(chunk.pictures);
    }
}

bool PlanTagRewrite(ByteSource& source, const WaveTags& tags, TagRewritePlan& plan,
                    WaveError& error) {
    plan = TagRewritePlan{};
    WaveLayout layout;
    if (!ParseWaveHeader(source, layout, error) || !WalkRiffChunks(source, plan.file, error))
        return false;
    const RiffFile& file = plan.file;
    if (file.rf64 &&
        (file.chunks.empty() || !file.chunks[0].Is("ds64") || file.chunks[0].size < 8)) {
        error = kWaveRf64WithoutDs64;
        return false;
    }
    uint64_t size = 12;
    bool afterDropped = false;
    bool cut = false;
    for (size_t i = 0; i < file.chunks.size(); ++i) {
        const RiffChunk& c = file.chunks[i];
        const bool drop = IsInfoList(c) || IsId3(c) || (afterDropped && IsPadding(c));
        afterDropped = drop;
        if (drop)
            continue;
        if (c.truncated && file.rf64) {
            error = kWaveRf64CutShort;
            return false;
        }
        // A cut chunk keeps what is there; its header is corrected when it is written.
        cut = cut || c.truncated || (c.size & 1 && c.Body() + c.size == file.fileSize);
        plan.kept.push_back(i);
        size += StoredLength(c);
    }
    plan.infoChunk = BuildInfoList(tags);
    plan.id3Chunk = Id3Chunk(tags);
    size += plan.infoChunk.size() + plan.id3Chunk.size();
    if (!file.rf64 && size - 8 > UINT32_MAX) {
        error = kWaveTaggedTooLarge;
        return false;
    }
    plan.outputSize = size;
    plan.changes = cut || size != file.fileSize || !SameTail(source, plan);
    return true;
}

bool WriteTagRewrite(ByteSource& source, const TagRewritePlan& plan, ByteSink& sink,
                     WaveError& error) {
    Copier out(source, sink);
    if (!out.Ok()) {
        error = kWaveOutOfMemory;
        return false;
    }
    const RiffFile& file = plan.file;
    uint8_t header[12];
    std::memcpy(header, file.form.data(), 4);
    PutLe32(header + 4, file.rf64 ? UINT32_MAX : static_cast<uint32_t>(plan.outputSize - 8));
    std::memcpy(header + 8, "WAVE", 4);
    bool ok = out.Put(header, sizeof header);
    for (size_t i : plan.kept) {
        const RiffChunk& c = file.chunks[i];
        uint8_t chunkHeader[8];
        if (ok && source.Read(c.offset, chunkHeader, 8) != 8)
            ok = false;
        if (c.truncated)
            PutLe32(chunkHeader + 4, static_cast<uint32_t>(c.size));
        ok = ok && out.Put(chunkHeader, 8);
        if (ok && file.rf64 && i == 0) {
            // The ds64 chunk opens with the 64-bit RIFF size, which changes with the tags.
            uint8_t riffSize[8];
            PutLe64(riffSize, plan.outputSize - 8);
            ok = out.Put(riffSize, 8) && out.Copy(c.Body() + 8, c.size - 8);
        } else {
            ok = ok && out.Copy(c.Body(), c.size);
        }
        static const uint8_t pad = 0;
        if (ok && (c.size & 1))
            ok = out.Put(&pad, 1);
    }
    ok = ok && out.Put(plan.infoChunk.data(), plan.infoChunk.size()) &&
         out.Put(plan.id3Chunk.data(), plan.id3Chunk.size()) && out.Flush();
    if (!ok)
        error = kWaveWriteFailed;
    return ok;
}

Bytes BuildTagChunks(const WaveTags& tags) {
    Bytes chunks = BuildInfoList(tags);
    const Bytes id3 = Id3Chunk(tags);
    chunks.insert(chunks.end(), id3.begin(), id3.end());
    return chunks;
}

} // namespace wm::wav
