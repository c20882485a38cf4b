// The part every codec decoder shares: the answers to Get (its last failure, information lines
// and the types it reads) and Set, and an open that checks the open record, starts afresh and
// closes what a failed open left. A codec supplies its types, OpenStream and Close, and its own
// DecodeBlock and SetPosition; it may word the refusal of an open without a file its own way and
// answer values of its own to Set.
#pragma once

#include "bundled/codec/PluginSupport.h"
#include "bundled/wav/TagSetBridge.h"
#include "tags/IDTagSet.h"

#include <sdk/wavemill_plugin.h>

#include <span>
#include <vector>

namespace wm::codec {

// One file type a decoder reads, as "-help" lists it.
struct DecodedType {
    const char16_t* extension;
    const char16_t* description;
};

class DecoderFrame {
  public:
    DecoderFrame() = default;
    DecoderFrame(const DecoderFrame&) = delete;
    DecoderFrame& operator=(const DecoderFrame&) = delete;
    virtual ~DecoderFrame() = default;

    uint32_t Get(const WmChar* name, PluginValue* value) noexcept {
        uint32_t result = 0;
        if (error_.Answer(name, value, result) || information_.Answer(name, value, result))
            return result;
        const std::span<const DecodedType> types = Types();
        if (!value || !Is(name, WM_VALUE_DECODES) || value->value1 >= types.size())
            return 0;
        value->pointer1 = const_cast<char16_t*>(types[value->value1].extension);
        value->pointer2 = const_cast<char16_t*>(types[value->value1].description);
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

  protected:
    // The reason an open without a file is refused.
    virtual String NoInput() const { return u"no input file was given"; }
    // A value of the codec's own; 0 when it has none of that name.
    virtual uint32_t SetOwn(const WmChar*, PluginValue*) noexcept { return 0; }
    // Opens `info.path` and fills in the record; false with the reason in error_.
    virtual bool OpenStream(DecodeOpenInfo& info) = 0;
    virtual std::span<const DecodedType> Types() const = 0;

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

    LastError error_;
    InformationLines information_; // kept past the end for the host's question

  private:
    std::vector<uint8_t> tagBlock_;
};

} // namespace wm::codec
