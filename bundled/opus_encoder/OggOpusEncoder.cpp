#include "bundled/opus_encoder/OggOpusEncoder.h"

#include "bundled/codec/OggComments.h"
#include "bundled/codec/OptionNumber.h"
#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveFormatRules.h"
#include "tags/IDTagSet.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <random>
#include <string>

namespace wm::bundled {

namespace {
// The help text "Wavemill.exe -help" shows under this encoder.
constexpr const char16_t* kHelp =
    u"-bitrate <kbps>    target bit rate, 6 to 256 a channel (default 64 mono, 96 stereo)\r\n"
    u"-vbr, -cvbr        variable (default) or constrained variable bit rate\r\n"
    u"-hard-cbr          constant bit rate\r\n"
    u"-comp <0..10>      encoder complexity, 10 best (default)\r\n"
    u"-framesize <ms>    2.5, 5, 10, 20 (default), 40 or 60\r\n"
    u"-music | -speech   tune for music or for speech (default: detected)";

// A block is handed to libopusenc in slices of this many frames.
constexpr size_t kSliceFrames = 4800;

int FrameDurationCode(double ms) {
    return ms == 2.5  ? OPUS_FRAMESIZE_2_5_MS
           : ms == 5  ? OPUS_FRAMESIZE_5_MS
           : ms == 10 ? OPUS_FRAMESIZE_10_MS
           : ms == 40 ? OPUS_FRAMESIZE_40_MS
           : ms == 60 ? OPUS_FRAMESIZE_60_MS
                      : OPUS_FRAMESIZE_20_MS;
}

} // namespace

OggOpusEncoder::OggOpusEncoder() : codec::EncoderFrame(u".opus", kHelp, codec::Fidelity::Lossy) {}

bool OggOpusEncoder::Start(const ConversionInfo& conversion) {
    String why;
    options_ = OpusOptions{};
    if (!ParseOpusOptions(conversion.commandLine ? conversion.commandLine : u"", options_, why))
        return error_.Failed(why);
    format_ = *conversion.sourceFormat;
    if (!codec::StartOggSource(format_, unpacker_, u"Opus", why))
        return error_.Failed(why);
    if (!MakeComments(conversion))
        return false;
    const int family = format_.channels <= 2 ? 0 : format_.channels <= 8 ? 1 : 255;
    static const OpusEncCallbacks callbacks{OnWrite, OnClose};
    int status = OPE_OK;
    encoder_ = ope_encoder_create_callbacks(&callbacks, this, comments_,
                                            static_cast<opus_int32>(format_.samplesPerSec),
                                            format_.channels, family, &status);
    if (!encoder_)
        return error_.Failed(u"libopusenc refused the source: " + Widen(ope_strerror(status)));
    // A serial number of its own, so that files joined into a chain stay apart.
    std::random_device random;
    if (Failed(ope_encoder_ctl(encoder_, OPE_SET_SERIALNO(static_cast<int>(random() >> 1)))))
        return false;
    const bool isFloat = wav::KindOf(format_) == wav::SampleKind::Float;
    const uint16_t depth =
        isFloat ? 24
                : std::clamp<uint16_t>(format_.validBitsPerSample ? format_.validBitsPerSample
                                                                  : format_.bitsPerSample,
                                       8, 24);
    if (!Configure(depth))
        return false;
    if (!out_.Create(conversion.outputPath))
        return error_.Failed(u"the output file cannot be created");
    return true;
}

bool OggOpusEncoder::MakeComments(const ConversionInfo& conversion) {
    comments_ = ope_comments_create();
    if (!comments_)
        return error_.Failed(u"out of memory");
    for (const std::string& c :
         codec::MakeOggComments(SourceTags(conversion), codec::OggCodec::Opus))
        if (ope_comments_add_string(comments_, c.c_str()) != OPE_OK)
            return error_.Failed(u"out of memory");
    return true;
}

// The settings the reference encoder makes for the same options and source.
bool OggOpusEncoder::Configure(uint16_t lsbDepth) {
    const double maxKbps = 256.0 * format_.channels;
    if (options_.bitrateKbps != 0 && (options_.bitrateKbps < 6 || options_.bitrateKbps > maxKbps))
        return error_.Failed(u"the bit rate " + codec::DecimalText(options_.bitrateKbps) +
                             u" kbps is out of range: 6 to " + codec::DecimalText(maxKbps) +
                             u" kbps for " + codec::DecimalText(format_.channels) + u" channels");
    const int bitrate = options_.bitrateKbps != 0
                            ? static_cast<int>(std::lround(options_.bitrateKbps * 1000))
                            : DefaultBitrate();
    const int signal = options_.signal == OpusSignal::Music    ? OPUS_SIGNAL_MUSIC
                       : options_.signal == OpusSignal::Speech ? OPUS_SIGNAL_VOICE
                                                               : OPUS_AUTO;
    return !Failed(ope_encoder_ctl(encoder_, OPUS_SET_BITRATE(bitrate))) &&
           !Failed(
               ope_encoder_ctl(encoder_, OPUS_SET_VBR(options_.mode != OpusRateMode::HardCbr))) &&
           !Failed(ope_encoder_ctl(
               encoder_, OPUS_SET_VBR_CONSTRAINT(options_.mode == OpusRateMode::ConstrainedVbr))) &&
           !Failed(ope_encoder_ctl(encoder_, OPUS_SET_COMPLEXITY(options_.complexity))) &&
           !Failed(ope_encoder_ctl(
               encoder_, OPUS_SET_EXPERT_FRAME_DURATION(FrameDurationCode(options_.frameMs)))) &&
           !Failed(ope_encoder_ctl(encoder_, OPUS_SET_SIGNAL(signal))) &&
           !Failed(ope_encoder_ctl(encoder_, OPUS_SET_LSB_DEPTH(lsbDepth)));
}

// 64 kbps for each stream and 32 more for each coupled pair (96 for stereo), less below 44.1 kHz.
int OggOpusEncoder::DefaultBitrate() const {
    int streams = 1, coupled = 0;
    ope_encoder_ctl(encoder_, OPE_GET_NB_STREAMS(&streams));
    ope_encoder_ctl(encoder_, OPE_GET_NB_COUPLED_STREAMS(&coupled));
    const long rate = format_.samplesPerSec < 44100 ? long(format_.samplesPerSec) : 48000;
    const long khz = std::clamp<long>((rate + 1000) / 1000, 8, 48);
    return static_cast<int>(((64000L * streams + 32000L * coupled) * (khz + 16) + 32) >> 6);
}

bool OggOpusEncoder::Failed(int status) {
    if (status == OPE_OK)
        return false;
    error_.Fail(u"libopusenc refused a setting: " + Widen(ope_strerror(status)));
    return true;
}

bool OggOpusEncoder::EncodeFrames(const uint8_t* data, size_t frames) {
    samples_.resize(std::min(frames, kSliceFrames) * format_.channels);
    for (size_t done = 0; done < frames; done += kSliceFrames) {
        const size_t n = std::min(kSliceFrames, frames - done);
        unpacker_.Unpack(data + done * format_.blockAlign, n, samples_.data());
        const int status = ope_encoder_write_float(encoder_, samples_.data(), static_cast<int>(n));
        if (status != OPE_OK)
            return error_.Failed(status == OPE_WRITE_FAIL && out_.DiskFull()
                                     ? String(u"disk full")
                                     : u"libopusenc failed: " + Widen(ope_strerror(status)));
    }
    return true;
}

uint32_t OggOpusEncoder::End() noexcept {
    if (!begun_)
        return error_.Fail(u"the encoder has not begun");
    // libopusenc sets a stream's end only when audio is written and drains up to it, so a run
    // that ends with none (an empty source, a failed run) writes an empty block first.
    const float none = 0;
    int status = ope_encoder_write_float(encoder_, &none, 0);
    if (status == OPE_OK)
        status = ope_encoder_drain(encoder_);
    bool ok = status == OPE_OK ||
              error_.Fail(u"libopusenc could not finish: " + Widen(ope_strerror(status)));
    return CloseAndReset(ok, out_);
}

void OggOpusEncoder::Reset() {
    if (encoder_)
        ope_encoder_destroy(encoder_);
    encoder_ = nullptr;
    if (comments_)
        ope_comments_destroy(comments_);
    comments_ = nullptr;
    out_.Abandon();
    std::vector<float>().swap(samples_);
    begun_ = false;
}

int OggOpusEncoder::OnWrite(void* self, const unsigned char* data, opus_int32 length) {
    return static_cast<OggOpusEncoder*>(self)->out_.Write(data, static_cast<size_t>(length)) ? 0
                                                                                             : 1;
}

int OggOpusEncoder::OnClose(void*) {
    return 0; // the file is closed by End, which reports a failed last write
}

} // namespace wm::bundled
