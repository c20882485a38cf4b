#include "bundled/vorbis_encoder/OggVorbisEncoder.h"

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
constexpr const char16_t* kHelp = u"-q <-1..10>        quality, fractions allowed (default 3)\r\n"
                                  u"-b <kbps>          average bit rate instead of a quality";

// A block is handed to libvorbis in slices of this many frames.
constexpr size_t kSliceFrames = 4096;

} // namespace

OggVorbisEncoder::OggVorbisEncoder()
    : codec::EncoderFrame(u".ogg", kHelp, codec::Fidelity::Lossy) {}

bool OggVorbisEncoder::Start(const ConversionInfo& conversion) {
    String why;
    options_ = VorbisOptions{};
    if (!ParseVorbisOptions(conversion.commandLine ? conversion.commandLine : u"", options_, why))
        return error_.Failed(why);
    format_ = *conversion.sourceFormat;
    if (!codec::StartOggSource(format_, unpacker_, u"Vorbis", why))
        return error_.Failed(why);
    return Setup() && WriteHeaders(conversion);
}

// The settings the reference encoder makes: a quality, or an average bit rate with the
// bit-rate management engine off.
bool OggVorbisEncoder::Setup() {
    vorbis_info_init(&info_);
    vorbis_comment_init(&comment_);
    stage_ = 1;
    const long rate = static_cast<long>(format_.samplesPerSec);
    int status;
    if (options_.bitrateKbps != 0) {
        status = vorbis_encode_setup_managed(&info_, format_.channels, rate, -1,
                                             std::lround(options_.bitrateKbps * 1000), -1);
        if (status == 0)
            status = vorbis_encode_ctl(&info_, OV_ECTL_RATEMANAGE2_SET, nullptr);
    } else {
        status = vorbis_encode_setup_vbr(&info_, format_.channels, rate,
                                         static_cast<float>(options_.quality / 10));
    }
    if (status == 0)
        status = vorbis_encode_setup_init(&info_);
    if (status == 0)
        return true;
    const String setting =
        options_.bitrateKbps != 0
            ? u"the bit rate " + codec::DecimalText(options_.bitrateKbps) + u" kbps"
            : u"quality " + codec::DecimalText(options_.quality);
    return error_.Failed(u"libvorbis has no setting for " + setting + u" at " +
                         codec::DecimalText(format_.samplesPerSec) + u" Hz with " +
                         codec::DecimalText(format_.channels) + u" channels");
}

bool OggVorbisEncoder::WriteHeaders(const ConversionInfo& conversion) {
    for (const std::string& c :
         codec::MakeOggComments(SourceTags(conversion), codec::OggCodec::Vorbis))
        vorbis_comment_add(&comment_, c.c_str());
    if (vorbis_analysis_init(&dsp_, &info_) != 0 || vorbis_block_init(&dsp_, &block_) != 0)
        return error_.Failed(u"libvorbis could not start");
    stage_ = 2;
    std::random_device random;
    ogg_stream_init(&stream_, static_cast<int>(random()));
    stage_ = 3;
    if (!out_.Create(conversion.outputPath))
        return error_.Failed(u"the output file cannot be created");
    ogg_packet id, comments, books;
    vorbis_analysis_headerout(&dsp_, &comment_, &id, &comments, &books);
    ogg_stream_packetin(&stream_, &id);
    ogg_stream_packetin(&stream_, &comments);
    ogg_stream_packetin(&stream_, &books);
    // The audio starts on a page of its own.
    ogg_page page;
    while (ogg_stream_flush(&stream_, &page))
        if (!WritePage(page))
            return false;
    return true;
}

bool OggVorbisEncoder::EncodeFrames(const uint8_t* data, size_t frames) {
    const size_t channels = format_.channels;
    samples_.resize(std::min(frames, kSliceFrames) * channels);
    for (size_t done = 0; done < frames; done += kSliceFrames) {
        const size_t n = std::min(kSliceFrames, frames - done);
        unpacker_.Unpack(data + done * format_.blockAlign, n, samples_.data());
        float** planes = vorbis_analysis_buffer(&dsp_, static_cast<int>(n));
        for (size_t i = 0; i < n; ++i)
            for (size_t c = 0; c < channels; ++c)
                planes[c][i] = samples_[i * channels + c];
        vorbis_analysis_wrote(&dsp_, static_cast<int>(n));
        if (!Drain())
            return false;
    }
    return true;
}

bool OggVorbisEncoder::Drain() {
    while (vorbis_analysis_blockout(&dsp_, &block_) == 1) {
        vorbis_analysis(&block_, nullptr);
        vorbis_bitrate_addblock(&block_);
        ogg_packet packet;
        while (vorbis_bitrate_flushpacket(&dsp_, &packet) == 1) {
            ogg_stream_packetin(&stream_, &packet);
            ogg_page page;
            while (ogg_stream_pageout(&stream_, &page))
                if (!WritePage(page))
                    return false;
        }
    }
    return true;
}

bool OggVorbisEncoder::WritePage(const ogg_page& page) {
    if (out_.Write(page.header, static_cast<size_t>(page.header_len)) &&
        out_.Write(page.body, static_cast<size_t>(page.body_len)))
        return true;
    return error_.Failed(out_.DiskFull() ? u"disk full" : u"writing the output file failed");
}

uint32_t OggVorbisEncoder::End() noexcept {
    if (!begun_)
        return error_.Fail(u"the encoder has not begun");
    vorbis_analysis_wrote(&dsp_, 0); // the end of the stream: the last page gets its flag
    bool ok = Drain();
    ogg_page page;
    while (ok && ogg_stream_flush(&stream_, &page))
        ok = WritePage(page);
    return CloseAndReset(ok, out_);
}

void OggVorbisEncoder::Reset() {
    if (stage_ >= 3)
        ogg_stream_clear(&stream_);
    if (stage_ >= 2) {
        vorbis_block_clear(&block_);
        vorbis_dsp_clear(&dsp_);
    }
    if (stage_ >= 1) {
        vorbis_comment_clear(&comment_);
        vorbis_info_clear(&info_);
    }
    stage_ = 0;
    out_.Abandon();
    std::vector<float>().swap(samples_);
    begun_ = false;
}

} // namespace wm::bundled
