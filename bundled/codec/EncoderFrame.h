// The part every codec encoder shares: the answers to Get and Set, and a begin that checks the
// conversion record, starts afresh and releases what a failed start left. A codec supplies its
// extension, its help text, Start, EncodeFrames and Reset, and its own End; it may word the
// frame's refusals its own way and answer values of its own to Set.
#pragma once

#include "bundled/codec/PluginSupport.h"
#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveFormatRules.h"
#include "tags/IDTagSet.h"

#include <sdk/wavemill_plugin.h>

namespace wm::codec {

class EncoderFrame {
  public:
    // A null `help` answers no help text; `replayGain` false when the tags have no place for it.
    EncoderFrame(const char16_t* extension, const char16_t* help, Fidelity fidelity,
                 bool replayGain = true)
        : extension_(extension), help_(help), fidelity_(fidelity), replayGain_(replayGain) {}
    EncoderFrame(const EncoderFrame&) = delete;
    EncoderFrame& operator=(const EncoderFrame&) = delete;
    virtual ~EncoderFrame() = default;

    uint32_t Get(const WmChar* name, PluginValue* value) noexcept {
        if (uint32_t result = 0; information_.Answer(name, value, result))
            return result;
        if (uint32_t result = GetOwn(name, value))
            return result;
        return AnswerEncoderValue(error_, name, value, extension_, help_, fidelity_, replayGain_);
    }
    uint32_t Set(const WmChar* name, PluginValue* value) noexcept {
        return Is(name, WM_VALUE_BATCH_ID) ? 1 : SetOwn(name, value);
    }
    uint32_t Begin(const ConversionInfo* conversion) noexcept {
        begun_ = GuardedStart(
                     error_,
                     [&] {
                         if (!conversion || !conversion->outputPath || !conversion->sourceFormat)
                             return error_.Failed(Refusal(Refused::NoConversion));
                         return Start(*conversion);
                     },
                     [&] { Reset(); }) != 0;
        return begun_ ? 1 : 0;
    }
    uint32_t Encode(const AudioBlockInfo* block) noexcept {
        if (!begun_ || !block)
            return error_.Fail(Refusal(Refused::NotBegun));
        if (block->length == 0)
            return 1;
        if (!block->data || !SameFormat(block->format))
            return error_.Fail(Refusal(Refused::FormatChanged));
        try {
            return EncodeBytes(static_cast<const uint8_t*>(block->data), block->length) ? 1 : 0;
        } catch (const std::bad_alloc&) {
            return error_.Fail(u"out of memory");
        }
    }

  protected:
    enum class Refused { NoConversion, NotBegun, FormatChanged };
    // The reason the frame gives when it refuses a call.
    virtual String Refusal(Refused why) const {
        switch (why) {
        case Refused::NoConversion:
            return u"no output file or source format was given";
        case Refused::NotBegun:
            return u"the encoder has not begun";
        case Refused::FormatChanged:
            break;
        }
        return u"a block of audio changes format midway";
    }
    // A value of the codec's own; 0 when it has none of that name.
    virtual uint32_t SetOwn(const WmChar*, PluginValue*) noexcept { return 0; }
    // An answer of the codec's own to Get; 0 leaves the question to the shared answers.
    virtual uint32_t GetOwn(const WmChar*, PluginValue*) noexcept { return 0; }
    // Opens the codec and the output file; false with the reason in error_.
    virtual bool Start(const ConversionInfo& conversion) = 0;
    // Encodes whole frames of the begun format; false with the reason in error_.
    virtual bool EncodeFrames(const uint8_t* data, size_t frames) = 0;
    // A block's bytes: its whole frames, unless a codec takes a frame split across blocks too.
    virtual bool EncodeBytes(const uint8_t* data, size_t length) {
        return EncodeFrames(data, length / format_.blockAlign);
    }
    // Whether a block's format is the one the encoder began with (format_).
    virtual bool SameFormat(const WmWaveFormat& format) const {
        WmWaveFormat f = format;
        wav::WaveError why{};
        return wav::NormaliseWaveFormat(f, why) && wav::SameSampleLayout(f, format_);
    }
    // The tags the host hands over with the conversion (none when it hands none).
    static wav::WaveTags SourceTags(const ConversionInfo& conversion) {
        IDTagSet set;
        if (conversion.tagData && conversion.tagSize)
            set.Deserialize(conversion.tagData, conversion.tagSize);
        return wav::FromTagSet(set);
    }
    // The last steps of every End: the output closed ("disk full" the reason when the disk ran
    // out, the plainest one) and all released; the result End returns.
    template <class Output> uint32_t CloseAndReset(bool ok, Output& out) {
        if (!out.Close() && ok)
            ok = error_.Failed(u"writing the output file failed");
        if (!ok && out.DiskFull())
            error_.Fail(u"disk full");
        Reset();
        return ok ? 1 : 0;
    }
    // Releases all that Start made and clears begun_; called again on a released encoder too.
    virtual void Reset() = 0;

    LastError error_;
    InformationLines information_; // kept past the end for the host's question
    WmWaveFormat format_{};        // the source's, as Start accepted it
    bool begun_ = false;

  private:
    const char16_t* extension_;
    const char16_t* help_;
    Fidelity fidelity_;
    bool replayGain_;
};

} // namespace wm::codec
