#include "bundled/m4a_encoder/M4aEncoder.h"

#include "bundled/codec/Mp4Atoms.h"
#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveFormatRules.h"
#include "tags/IDTagSet.h"
#include "tags/ImageInfo.h"

extern "C" {
#include <libavformat/version.h>
}

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

namespace wm::bundled {

namespace {

// "covr" holds JPEG, PNG and BMP only; the muxer wants the picture's size too.
AVCodecID PictureCodec(const ImageInfo& info) {
    switch (info.FormatCode) {
    case 1:
        return AV_CODEC_ID_MJPEG;
    case 2:
        return AV_CODEC_ID_PNG;
    case 4:
        return AV_CODEC_ID_BMP;
    default:
        return AV_CODEC_ID_NONE;
    }
}

ImageInfo InfoOf(const wav::Bytes& data) {
    return GetImageInfo(data.data(), data.size());
}

} // namespace

bool M4aEncoder::Start(const ConversionInfo& conversion) {
    ffmpeg::KeepLogQuiet();
    format_ = *conversion.sourceFormat;
    wav::WaveError why{};
    if (!wav::NormaliseWaveFormat(format_, why))
        return error_.Failed(u"the source format is not PCM: " + String(wav::WaveErrorString[why]));
    isFloat_ = wav::KindOf(format_) == wav::SampleKind::Float;
    if (!isFloat_)
        codec::PcmLayoutOf(format_, layout_);
    if (String refusal = codec_.refusal(format_, isFloat_, layout_); !refusal.empty())
        return error_.Failed(refusal);
    return OpenCodec(conversion) && OpenMuxer(conversion);
}

bool M4aEncoder::OpenCodec(const ConversionInfo& conversion) {
    const AVCodec* encoder = avcodec_find_encoder(codec_.id);
    encoder_.reset(encoder ? avcodec_alloc_context3(encoder) : nullptr);
    frame_.reset(av_frame_alloc());
    packet_.reset(av_packet_alloc());
    if (!encoder_ || !frame_ || !packet_)
        return error_.Failed(u"out of memory");
    AVCodecContext& c = *encoder_;
    c.sample_rate = static_cast<int>(format_.samplesPerSec);
    c.time_base = AVRational{1, c.sample_rate};
    av_channel_layout_default(&c.ch_layout, format_.channels);
    const bool wide = !isFloat_ && layout_.validBits > 16;
    c.sample_fmt = codec_.id == AV_CODEC_ID_AAC ? AV_SAMPLE_FMT_FLTP
                   : wide                       ? AV_SAMPLE_FMT_S32P
                                                : AV_SAMPLE_FMT_S16P;
    c.bits_per_raw_sample = wide ? 24 : 16;
    // The M4A container keeps the decoder's set-up in its sample description.
    c.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    String optionError;
    if (!codec_.applyOptions(conversion.commandLine ? conversion.commandLine : u"", c, optionError))
        return error_.Failed(optionError);
    const int status = avcodec_open2(&c, encoder, nullptr);
    if (status < 0)
        return error_.Failed(String(u"the ") + codec_.name + u" encoder refused this source: " +
                             ffmpeg::AvError(status));
    frameSize_ = c.frame_size > 0 ? c.frame_size : 4096;
    frame_->nb_samples = frameSize_;
    frame_->format = c.sample_fmt;
    frame_->sample_rate = c.sample_rate;
    if (av_channel_layout_copy(&frame_->ch_layout, &c.ch_layout) < 0 ||
        av_frame_get_buffer(frame_.get(), 0) < 0)
        return error_.Failed(u"out of memory");
    return true;
}

bool M4aEncoder::OpenMuxer(const ConversionInfo& conversion) {
    if (avformat_alloc_output_context2(&muxer_, nullptr, "ipod", nullptr) < 0 || !muxer_ ||
        !(audio_ = avformat_new_stream(muxer_, nullptr)))
        return error_.Failed(u"out of memory");
    audio_->time_base = encoder_->time_base;
    avcodec_parameters_from_context(audio_->codecpar, encoder_.get());
    const wav::WaveTags tags = SourceTags(conversion);
    ffmpeg::WriteAvTags(tags, &muxer_->metadata, freeForm_);
    // The tool's own atom also keeps the tag list present for the free-form atoms.
    if (!av_dict_get(muxer_->metadata, "encoder", nullptr, 0))
        av_dict_set(&muxer_->metadata, "encoder", LIBAVFORMAT_IDENT, 0);
    if (!AddPictures(tags.pictures))
        return false;
    if (!out_.Create(conversion.outputPath))
        return error_.Failed(u"the output file cannot be created");
    muxer_->pb = out_.Io();
    muxer_->flags |= AVFMT_FLAG_CUSTOM_IO;
    // The edit list counts in the movie's time scale: at the sample rate it gives the length
    // to the sample (at the default milliseconds a gapless decoder would cut or keep up to 1 ms).
    AVDictionary* options = nullptr;
    av_dict_set_int(&options, "movie_timescale", encoder_->sample_rate, 0);
    const int status = avformat_write_header(muxer_, &options);
    av_dict_free(&options);
    if (status < 0)
        return error_.Failed(u"the M4A muxer cannot start: " + ffmpeg::AvError(status));
    return WritePictures();
}

// The front cover first: a reader of "covr" takes the first image as the cover.
bool M4aEncoder::AddPictures(const std::vector<wav::Picture>& pictures) {
    for (const wav::Picture& p : pictures)
        if (PictureCodec(InfoOf(p.data)) != AV_CODEC_ID_NONE)
            pictures_.push_back(p);
    std::stable_sort(
        pictures_.begin(), pictures_.end(),
        [](const wav::Picture& a, const wav::Picture& b) { return a.type == 3 && b.type != 3; });
    for (const wav::Picture& p : pictures_) {
        AVStream* s = avformat_new_stream(muxer_, nullptr);
        if (!s)
            return error_.Failed(u"out of memory");
        s->disposition = AV_DISPOSITION_ATTACHED_PIC;
        s->time_base = AVRational{1, 90000};
        s->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
        const ImageInfo info = InfoOf(p.data);
        s->codecpar->codec_id = PictureCodec(info);
        s->codecpar->width = static_cast<int>(info.Width);
        s->codecpar->height = static_cast<int>(info.Height);
        pictureStreams_.push_back(s->index);
    }
    return true;
}

bool M4aEncoder::WritePictures() {
    for (size_t i = 0; i < pictures_.size(); ++i) {
        const wav::Bytes& data = pictures_[i].data;
        if (av_new_packet(packet_.get(), static_cast<int>(data.size())) < 0)
            return error_.Failed(u"out of memory");
        std::memcpy(packet_->data, data.data(), data.size());
        packet_->stream_index = pictureStreams_[i];
        packet_->flags |= AV_PKT_FLAG_KEY;
        packet_->pts = packet_->dts = 0;
        if (const int status = av_write_frame(muxer_, packet_.get()); status < 0)
            return WriteFailed(status);
        av_packet_unref(packet_.get());
    }
    return true;
}

bool M4aEncoder::EncodeFrames(const uint8_t* data, size_t frames) {
    const size_t channels = format_.channels;
    while (frames > 0) {
        if (filled_ == 0) {
            frame_->nb_samples = frameSize_;
            if (av_frame_make_writable(frame_.get()) < 0)
                return error_.Failed(u"out of memory");
        }
        const size_t n = std::min(frames, size_t(frameSize_ - filled_));
        samples_.resize(n * channels);
        if (!isFloat_)
            codec::UnpackPcm(data, n, layout_, samples_.data());
        Store(data, n, filled_);
        filled_ += static_cast<int>(n);
        data += n * format_.blockAlign;
        frames -= n;
        if (filled_ == frameSize_ && !Send(frame_.get()))
            return false;
    }
    return true;
}

// Into the encoder's planes: AAC takes float in [-1, 1), ALAC integers left-justified in 16 or
// 32 bits (it keeps the top 16 or 24).
void M4aEncoder::Store(const uint8_t* raw, size_t frames, int at) {
    const size_t channels = format_.channels;
    const bool aac = codec_.id == AV_CODEC_ID_AAC;
    const float scale = isFloat_ ? 1.0f : 1.0f / float(1u << (layout_.validBits - 1));
    const unsigned shift = (encoder_->sample_fmt == AV_SAMPLE_FMT_S32P ? 32u : 16u) -
                           (isFloat_ ? 0u : layout_.validBits);
    for (size_t c = 0; c < channels; ++c) {
        uint8_t* plane = frame_->extended_data[c];
        for (size_t i = 0; i < frames; ++i) {
            const size_t s = i * channels + c;
            float value = 0;
            if (isFloat_ && format_.bitsPerSample == 64) {
                double d;
                std::memcpy(&d, raw + 8 * s, 8);
                value = static_cast<float>(d);
            } else if (isFloat_) {
                std::memcpy(&value, raw + 4 * s, 4);
            } else {
                value = float(samples_[s]) * scale;
            }
            if (aac) {
                reinterpret_cast<float*>(plane)[at + i] = value;
            } else if (encoder_->sample_fmt == AV_SAMPLE_FMT_S32P) {
                reinterpret_cast<int32_t*>(plane)[at + i] =
                    static_cast<int32_t>(static_cast<uint32_t>(samples_[s]) << shift);
            } else {
                reinterpret_cast<int16_t*>(plane)[at + i] =
                    static_cast<int16_t>(static_cast<uint32_t>(samples_[s]) << shift);
            }
        }
    }
}

bool M4aEncoder::Send(const AVFrame* frame) {
    if (frame) {
        frame_->nb_samples = filled_;
        frame_->pts = sent_;
        sent_ += filled_;
        filled_ = 0;
    }
    int status = avcodec_send_frame(encoder_.get(), frame);
    if (status < 0)
        return error_.Failed(String(u"the ") + codec_.name + u" encoder failed: " +
                             ffmpeg::AvError(status));
    while ((status = avcodec_receive_packet(encoder_.get(), packet_.get())) == 0) {
        packet_->stream_index = audio_->index;
        av_packet_rescale_ts(packet_.get(), encoder_->time_base, audio_->time_base);
        ++packets_;
        if ((status = av_write_frame(muxer_, packet_.get())) < 0)
            return WriteFailed(status);
    }
    if (status != AVERROR(EAGAIN) && status != AVERROR_EOF)
        return error_.Failed(String(u"the ") + codec_.name + u" encoder failed: " +
                             ffmpeg::AvError(status));
    return true;
}

bool M4aEncoder::WriteFailed(int status) {
    return error_.Failed(out_.DiskFull()
                             ? String(u"disk full")
                             : u"writing the output file failed: " + ffmpeg::AvError(status));
}

uint32_t M4aEncoder::End() noexcept {
    if (!begun_)
        return error_.Fail(u"the encoder has not begun");
    bool ok = false;
    try {
        ok = Finish();
    } catch (const std::bad_alloc&) {
        error_.Fail(u"out of memory");
    }
    Reset();
    return ok ? 1 : 0;
}

bool M4aEncoder::Finish() {
    if ((filled_ > 0 && !Send(frame_.get())) || !Send(nullptr))
        return false;
    out_.HoldTail();
    if (const int status = av_write_trailer(muxer_); status < 0)
        return WriteFailed(status);
    avio_flush(out_.Io());
    if (codec_.id == AV_CODEC_ID_AAC) {
        const uint64_t coded = packets_ * uint64_t(encoder_->frame_size);
        const uint64_t delay = static_cast<uint64_t>(encoder_->initial_padding);
        const uint64_t padding = coded - std::min(coded, delay + uint64_t(sent_));
        freeForm_.push_back({"iTunSMPB", codec::ITunesGaplessInfo(
                                             uint32_t(delay), uint32_t(padding), uint64_t(sent_))});
    }
    std::vector<uint8_t>& moov = out_.Tail();
    if (!freeForm_.empty() && !codec::AddFreeFormAtoms(moov, freeForm_))
        return error_.Failed(u"the M4A muxer left no tag list for the free-form tags");
    if (!out_.Close())
        return error_.Failed(out_.DiskFull() ? u"disk full" : u"writing the output file failed");
    return true;
}

void M4aEncoder::Reset() {
    if (muxer_)
        muxer_->pb = nullptr; // the output's own, closed or abandoned below
    avformat_free_context(muxer_);
    muxer_ = nullptr;
    audio_ = nullptr;
    encoder_.reset();
    frame_.reset();
    packet_.reset();
    out_.Abandon();
    filled_ = 0;
    sent_ = 0;
    packets_ = 0;
    pictures_.clear();
    pictureStreams_.clear();
    freeForm_.clear();
    std::vector<int32_t>().swap(samples_);
    begun_ = false;
}

} // namespace wm::bundled
