// The part every codec decoder shares: the answers to Get (its last failure, information lines
// and the types it reads, given at construction) and Set, and an open that checks the open record,
// starts afresh and closes what a failed open left. A codec supplies OpenStream, Close, DecodeBlock
// and SetPosition; it may word the refusal of an open without a file its own way and answer values
// of its own to Set.
#pragma once

#include "bundled/codec/PluginSupport.h"
#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveFormatRules.h"
#include "tags/IDTagSet.h"

#include <sdk/wavemill_plugin.h>

#include <algorithm>
#include <span>
#include <vector>

namespace wm::codec {

// One file type a decoder reads, as "-help" lists it.
struct DecodedType {
    const char16_t* extension;
    const char16_t* description;
};

// A format's bit rate, as far as the block record holds it.
inline uint32_t BitRate(const WmWaveFormat& f) {
    return static_cast<uint32_t>(std::min<uint64_t>(uint64_t{f.avgBytesPerSec} * 8, UINT32_MAX));
}

// Fills `block` with the `length` bytes of PCM at `data`, positioned after the `delivered` bytes
// handed out before it, and counts them in; `end` marks the last block.
inline uint32_t HandOutBlock(AudioBlockInfo& block, uint8_t* data, size_t length,
                             const WmWaveFormat& format, uint64_t& delivered, bool end) {
    block.data = data;
    block.length = static_cast<uint32_t>(length);
    block.format = format;
    block.bitRate = BitRate(format);
    block.msDuration = wav::BytesToMs(length, format.avgBytesPerSec);
    block.msPosition = wav::BytesToMs(delivered, format.avgBytesPerSec);
    block.endOfStream = end ? 1 : 0;
    delivered += length;
    return 1;
}

class DecoderFrame {
  public:
    explicit DecoderFrame(std::span<const DecodedType> types) : types_(types) {}
    DecoderFrame(const DecoderFrame&) = delete;
    DecoderFrame& operator=(const DecoderFrame&) = delete;
    virtual ~DecoderFrame() = default;

    uint32_t Get(const WmChar* name, PluginValue* value) noexcept {
        uint32_t result = 0;
        if (error_.Answer(name, value, result) || information_.Answer(name, value, result))
            return result;
        if (!value || !Is(name, WM_VALUE_DECODES) || value->value1 >= types_.size())
            return 0;
        value->pointer1 = const_cast<char16_t*>(types_[value->value1].extension);
        value->pointer2 = const_cast<char16_t*>(types_[value->value1].description);
        return 1;
    }
    uint32_t Set(const WmChar* name, PluginValue* value) noexcept {
        // The batch number means nothing to a file reader, but it is a value the host may send.
        return Is(name, WM_VALUE_BATCH_ID) ? 1 : SetOwn(name, value);
    }
    uint32_t Open(DecodeOpenInfo* info) noexcept {
        return GuardedStart(
            error_,
            [&] {
                if (!info || !info->path)
                    return error_.Failed(NoInput());
                return OpenStream(*info);
            },
            [&] { Close(); });
    }
    // Releases the stream; called again on a closed decoder too.
    virtual uint32_t Close() noexcept = 0;
    // The next block of PCM; the end travels in a block of its own.
    virtual uint32_t DecodeBlock(AudioBlockInfo* block) noexcept = 0;
    // Moves the next block to `ms` milliseconds from the start.
    virtual uint32_t SetPosition(uint64_t ms) noexcept = 0;

  protected:
    // The reason an open without a file is refused.
    virtual String NoInput() const { return u"no input file was given"; }
    // A value of the codec's own; 0 when it has none of that name.
    virtual uint32_t SetOwn(const WmChar*, PluginValue*) noexcept { return 0; }
    // Opens `info.path` and fills in the record; false with the reason in error_.
    virtual bool OpenStream(DecodeOpenInfo& info) = 0;

    // Hands the host the source's tags (none when empty) as a tag set, kept until ReleaseTags.
    void HandOutTags(const wav::WaveTags& tags, DecodeOpenInfo& info) {
        if (!tags.Empty()) {
            IDTagSet set;
            wav::ToTagSet(tags, set);
            std::vector<uint8_t> block = set.Serialize();
            if (block.size() <= UINT32_MAX)
                tagBlock_ = std::move(block);
        }
        info.tagData = tagBlock_.empty() ? nullptr : tagBlock_.data();
        info.tagSize = static_cast<uint32_t>(tagBlock_.size());
    }
    void ReleaseTags() { std::vector<uint8_t>().swap(tagBlock_); }

    // Set "IDTags" (pointer1 the finished file, pointer4 and value2 the tag block) answered by
    // `write(path, tags)`, which returns why the tags are not in the file (empty when they are).
    template <class Write>
    uint32_t AnswerTagWrite(const WmChar* name, PluginValue* value, Write write) {
        if (!Is(name, WM_VALUE_ID_TAGS) || !value || !value->pointer1 ||
            (!value->pointer4 && value->value2 != 0))
            return 0;
        String why;
        try {
            IDTagSet set;
            set.Deserialize(value->pointer4, value->value2);
            why = write(static_cast<const char16_t*>(value->pointer1), wav::FromTagSet(set));
        } catch (const std::bad_alloc&) {
            why = u"out of memory";
        }
        return why.empty() ? 1 : error_.Fail(u"the tags could not be written: " + why);
    }

    LastError error_;
    InformationLines information_; // kept past the end for the host's question

  private:
    const std::span<const DecodedType> types_;
    std::vector<uint8_t> tagBlock_;
};

} // namespace wm::codec
