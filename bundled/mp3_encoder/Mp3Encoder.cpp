#include "bundled/mp3_encoder/Mp3Encoder.h"

#include "bundled/mp3_encoder/Mp3Options.h"
#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveFormatRules.h"
#include "tags/IDTagSet.h"

#include <cstring>
#include <new>
#include <string>

namespace wm::bundled {

namespace {
// The help text "Wavemill.exe -help" shows under this encoder.
constexpr const char16_t* kHelp =
    u"-b <kbps>          constant bit rate (without options: 128 kbps for stereo at\r\n"
    u"                   44.1 or 48 kHz; LAME's 11:1 ratio, less, for mono or lower rates)\r\n"
    u"-V <0..9>          variable bit rate, 0 best\r\n"
    u"-abr <kbps>        average bit rate\r\n"
    u"-q <0..9>          algorithm quality, 0 best\r\n"
    u"-m s|j|f|d|m       stereo, joint, forced mid/side, dual channel, mono\r\n"
    u"-noreplaygain      no ReplayGain analysis for the info frame";
} // namespace

namespace {

String Decimal(uint64_t v) {
    return Widen(std::to_string(v));
}

} // namespace

// LAME would quietly take the nearest rate the output's MPEG version has; the user asked for
// this one, so name those that exist.
String Mp3Encoder::BitRateRefusal(int askedKbps) const {
    String rates;
    const int version = lame_get_version(lame_);
    for (int i = 1; i < 15; ++i) {
        const int kbps = lame_get_bitrate(version, i);
        rates += (i == 1 ? u"" : i == 14 ? u" and " : u", ") + Decimal(kbps);
    }
    return u"-b " + Decimal(askedKbps) + u" does not exist for MP3 at " +
           Decimal(lame_get_out_samplerate(lame_)) + u" Hz; the bit rates there are " + rates +
           u" kbps";
}

namespace {

// Blocks are fed to LAME in slices it can always take into a buffer of known size.
constexpr size_t kSliceFrames = 8192;
constexpr size_t kMp3Buffer = kSliceFrames * 5 / 4 + 7200;

} // namespace

Mp3Encoder::Mp3Encoder() : codec::EncoderFrame(u".mp3", kHelp, codec::Fidelity::Lossy) {}

uint32_t Mp3Encoder::SetOwn(const WmChar* name, PluginValue* value) noexcept {
    if (!codec::Is(name, WM_VALUE_DECODED_PEAK) || !value)
        return 0;
    peakAsked_ = value->value1 != 0;
    return 1;
}

uint32_t Mp3Encoder::GetOwn(const WmChar* name, PluginValue* value) noexcept {
    if (!codec::Is(name, WM_VALUE_DECODED_PEAK) || !value || !value->pointer1 || !peakKnown_)
        return 0;
    *static_cast<double*>(value->pointer1) = decodedPeak_;
    return 1;
}

bool Mp3Encoder::Start(const ConversionInfo& conversion) {
    information_.Clear();
    format_ = *conversion.sourceFormat;
    wav::WaveError why{};
    if (!wav::NormaliseWaveFormat(format_, why))
        return error_.Fail(u"the source format is not PCM: " + String(wav::WaveErrorString[why])),
               false;
    isFloat_ = wav::KindOf(format_) == wav::SampleKind::Float;
    if (!isFloat_)
        codec::PcmLayoutOf(format_, layout_);
    if (format_.channels > 2)
        return error_.Fail(u"MP3 holds one or two channels; the source has " +
                           Decimal(format_.channels) +
                           u" (the Channels effect mixes them down: "
                           u"-dspeffect1=\"Channels=channels=2\")"),
               false;
    lame_ = lame_init();
    if (!lame_)
        return error_.Failed(u"out of memory");
    lame_set_num_channels(lame_, format_.channels);
    lame_set_in_samplerate(lame_, static_cast<int>(format_.samplesPerSec));
    lame_set_write_id3tag_automatic(lame_, 0);
    lame_set_bWriteVbrTag(lame_, 1);
    // The info frame carries the track's ReplayGain, as the reference encoder measures it.
    lame_set_findReplayGain(lame_, 1);
    String error;
    if (!ApplyMp3Options(conversion.commandLine ? conversion.commandLine : u"", lame_, error))
        return error_.Failed(error);
    const int askedKbps = lame_get_VBR(lame_) == vbr_off ? lame_get_brate(lame_) : 0;
    if (lame_init_params(lame_) < 0)
        return error_.Failed(u"LAME refused the settings for this source");
    if (askedKbps && lame_get_brate(lame_) != askedKbps)
        return error_.Failed(BitRateRefusal(askedKbps));
    if (lame_get_out_samplerate(lame_) != static_cast<int>(format_.samplesPerSec))
        information_.Add(u"the source's " + Decimal(format_.samplesPerSec) + u" Hz became " +
                         Decimal(lame_get_out_samplerate(lame_)) + u" Hz, " +
                         (format_.samplesPerSec > 48000 ? u"the highest rate MP3 holds"
                                                        : u"LAME's choice for this bit rate"));
    mp3_.resize(kMp3Buffer);
    peakKnown_ = false;
    // Without a decoder the host decodes the file afterwards: slower, never wrong.
    if (peakAsked_)
        peakDecoder_.Start(lame_get_out_samplerate(lame_));
    if (!out_.Create(conversion.outputPath))
        return error_.Failed(u"the output file cannot be created");
    return WriteTag(conversion);
}

bool Mp3Encoder::WriteTag(const ConversionInfo& conversion) {
    const wav::Bytes tag = wav::BuildId3Tag(SourceTags(conversion), 3);
    if (!tag.empty() && !out_.Write(tag.data(), tag.size()))
        return error_.Failed(u"writing the output file failed");
    audioAt_ = out_.Tell();
    return true;
}

bool Mp3Encoder::EncodeFrames(const uint8_t* data, size_t frames) {
    for (size_t done = 0; done < frames; done += kSliceFrames)
        if (!EncodeSlice(data + done * format_.blockAlign, std::min(kSliceFrames, frames - done)))
            return false;
    return true;
}

bool Mp3Encoder::EncodeSlice(const uint8_t* data, size_t frames) {
    const size_t channels = format_.channels;
    left_.resize(frames);
    right_.resize(frames);
    int bytes;
    if (isFloat_) {
        leftFloat_.resize(frames);
        rightFloat_.resize(frames);
        const size_t width = format_.bitsPerSample / 8;
        const auto sample = [data, width](size_t i) {
            float v;
            if (width == 8) {
                double d;
                std::memcpy(&d, data + 8 * i, 8);
                return static_cast<float>(d);
            }
            std::memcpy(&v, data + 4 * i, 4);
            return v;
        };
        // One or two channels (begin refuses more); frame by frame, no division per sample.
        for (size_t f = 0; f < frames; ++f) {
            leftFloat_[f] = sample(f * channels);
            if (channels == 2)
                rightFloat_[f] = sample(f * 2 + 1);
        }
        bytes = lame_encode_buffer_ieee_float(lame_, leftFloat_.data(), rightFloat_.data(),
                                              static_cast<int>(frames), mp3_.data(),
                                              static_cast<int>(mp3_.size()));
    } else {
        // Full-scale 32-bit samples, as the reference encoder's own front end feeds them.
        interleaved_.resize(frames * channels);
        codec::UnpackPcm(data, frames, layout_, interleaved_.data());
        const unsigned shift = 32u - layout_.validBits;
        const auto full = [this, shift](size_t i) {
            return static_cast<int32_t>(static_cast<uint32_t>(interleaved_[i]) << shift);
        };
        for (size_t f = 0; f < frames; ++f) {
            left_[f] = full(f * channels);
            if (channels == 2)
                right_[f] = full(f * 2 + 1);
        }
        bytes = lame_encode_buffer_int(lame_, left_.data(), right_.data(), static_cast<int>(frames),
                                       mp3_.data(), static_cast<int>(mp3_.size()));
    }
    return WriteOutput(bytes);
}

bool Mp3Encoder::WriteOutput(int bytes) {
    if (bytes < 0)
        return error_.Failed(u"LAME failed (" + Widen(std::to_string(bytes)) + u")");
    if (bytes > 0 && !out_.Write(mp3_.data(), static_cast<size_t>(bytes)))
        return error_.Failed(u"writing the output file failed");
    peakDecoder_.Feed(mp3_.data(), static_cast<size_t>(bytes));
    return true;
}

uint32_t Mp3Encoder::End() noexcept {
    if (!begun_)
        return error_.Fail(u"the encoder has not begun");
    bool ok = WriteOutput(lame_encode_flush(lame_, mp3_.data(), static_cast<int>(mp3_.size())));
    if (ok && peakDecoder_.Started())
        peakKnown_ = peakDecoder_.Finish(decodedPeak_);
    if (ok) {
        // The info frame replaces the placeholder LAME put first, now that the counts are known.
        const size_t n = lame_get_lametag_frame(lame_, mp3_.data(), mp3_.size());
        if (n > 0 && n <= mp3_.size() && (!out_.Seek(audioAt_) || !out_.Write(mp3_.data(), n)))
            ok = error_.Fail(u"writing the LAME info frame failed");
        if (n == 0)
            information_.Add(u"no info frame: at " + Decimal(lame_get_brate(lame_)) +
                             u" kbps and " + Decimal(lame_get_out_samplerate(lame_)) +
                             u" Hz an MPEG frame is too small to hold it, so players cannot "
                             u"remove the encoder delay (a higher -b keeps playback gapless)");
    }
    return CloseAndReset(ok, out_);
}

void Mp3Encoder::Reset() {
    if (lame_)
        lame_close(lame_);
    lame_ = nullptr;
    peakDecoder_.Abandon();
    out_.Abandon();
    begun_ = false;
    audioAt_ = 0;
    std::vector<int32_t>().swap(interleaved_);
    std::vector<int32_t>().swap(left_);
    std::vector<int32_t>().swap(right_);
    std::vector<float>().swap(leftFloat_);
    std::vector<float>().swap(rightFloat_);
}

} // namespace wm::bundled
