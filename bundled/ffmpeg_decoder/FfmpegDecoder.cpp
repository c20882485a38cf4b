#include "bundled/ffmpeg_decoder/FfmpegDecoder.h"

#include "bundled/codec/Mp3Layout.h"
#include "bundled/ffmpeg/FfmpegTags.h"
#include "bundled/ffmpeg_decoder/M4aTagWriter.h"
#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveFormatRules.h"
#include "bundled/win/BufferedReader.h"
#include "tags/IDTagSet.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>

namespace wm::bundled {

namespace {

// About half a second a block at the highest common rate.
constexpr size_t kBlockFrames = 24000;

// What the configured demuxers read; the types other bundled decoders serve are not claimed.
constexpr codec::DecodedType kTypes[] = {
    {u".m4a", u"MPEG-4 Audio (AAC, ALAC)"},
    {u".m4b", u"MPEG-4 Audio Book"},
    {u".mp4", u"MPEG-4"},
    {u".aac", u"AAC (ADTS)"},
    {u".alac", u"Apple Lossless"},
    {u".aif", u"AIFF"},
    {u".aiff", u"AIFF"},
    {u".aifc", u"AIFF-C"},
    {u".caf", u"Core Audio Format"},
    {u".wma", u"Windows Media Audio"},
    {u".asf", u"Advanced Systems Format"},
    {u".ape", u"Monkey's Audio"},
    {u".tta", u"True Audio"},
    {u".wv", u"WavPack"},
    {u".ac3", u"Dolby Digital (AC-3)"},
    {u".eac3", u"Dolby Digital Plus (E-AC-3)"},
    {u".ec3", u"Dolby Digital Plus (E-AC-3)"},
    {u".dts", u"DTS"},
    {u".thd", u"Dolby TrueHD"},
    {u".mlp", u"Meridian Lossless Packing"},
    {u".w64", u"Sony Wave64"},
    {u".au", u"Sun Audio"},
    {u".snd", u"Sun Audio"},
    {u".mpc", u"Musepack"},
    {u".tak", u"Tom's lossless Audio Kompressor"},
    {u".shn", u"Shorten"},
    {u".mka", u"Matroska Audio"},
    {u".voc", u"Creative Voice"},
    {u".amr", u"Adaptive Multi-Rate"},
    {u".dsf", u"DSD Stream File"},
};

// The PCM rate DSD is converted to.
constexpr int kDsdPcmRate = 176400;

bool IsDsd(AVCodecID id) {
    return id == AV_CODEC_ID_DSD_LSBF || id == AV_CODEC_ID_DSD_MSBF ||
           id == AV_CODEC_ID_DSD_LSBF_PLANAR || id == AV_CODEC_ID_DSD_MSBF_PLANAR;
}

// iTunSMPB: " 00000000 <delay> <padding> <samples> ..." in hexadecimal.
uint64_t ITunesLength(const AVDictionary* metadata) {
    const AVDictionaryEntry* e = av_dict_get(metadata, "iTunSMPB", nullptr, 0);
    unsigned delay = 0, padding = 0;
    unsigned long long samples = 0;
    if (!e || std::sscanf(e->value, "%*x %x %x %llx", &delay, &padding, &samples) != 3)
        return 0;
    return samples;
}

} // namespace

FfmpegDecoder::FfmpegDecoder() : DecoderFrame(kTypes) {}

uint32_t FfmpegDecoder::SetOwn(const WmChar* name, PluginValue* value) noexcept {
    return AnswerTagWrite(name, value, WriteM4aTags);
}

bool FfmpegDecoder::OpenStream(DecodeOpenInfo& info) {
    ffmpeg::KeepLogQuiet();
    if (std::u16string_view(info.path) == u"-")
        return error_.Failed(u"the file cannot be opened");
    information_.Clear();
    FindTrailingTags(info.path);
    int status =
        avformat_open_input(&format_, ffmpeg::FileUrl(info.path).c_str(), nullptr, nullptr);
    if (status < 0)
        return error_.Failed(u"not a file FFmpeg reads: " + ffmpeg::AvError(status));
    if ((status = avformat_find_stream_info(format_, nullptr)) < 0)
        return error_.Failed(u"the file cannot be read: " + ffmpeg::AvError(status));
    stream_ = av_find_best_stream(format_, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (stream_ < 0)
        return error_.Failed(u"the file holds no audio stream");
    if (!OpenCodec() || !ChooseOutput())
        return false;
    FindExactLength();
    DescribeSource(info);
    return true;
}

void FfmpegDecoder::FindTrailingTags(const char16_t* path) {
    BufferedReader file;
    fileSize_ = tagsFrom_ = 0;
    if (!file.Open(path))
        return; // libavformat says why
    fileSize_ = file.Size();
    tagsFrom_ = codec::TrailingTagsStart(
        fileSize_, [&file](uint64_t at, uint8_t* to, size_t n) { return file.Read(at, to, n); });
    file.Close();
}

bool FfmpegDecoder::OpenCodec() {
    const AVCodecParameters& par = *format_->streams[stream_]->codecpar;
    const AVCodec* decoder = avcodec_find_decoder(par.codec_id);
    if (!decoder)
        return error_.Failed(u"the audio is " + Widen(avcodec_get_name(par.codec_id)) +
                             u", which this build of FFmpeg does not decode");
    codec_.reset(avcodec_alloc_context3(decoder));
    packet_.reset(av_packet_alloc());
    frame_.reset(av_frame_alloc());
    if (!codec_ || !packet_ || !frame_)
        return error_.Failed(u"out of memory");
    int status = avcodec_parameters_to_context(codec_.get(), &par);
    if (status >= 0) {
        codec_->pkt_timebase = format_->streams[stream_]->time_base;
        status = avcodec_open2(codec_.get(), decoder, nullptr);
    }
    if (status < 0)
        return error_.Failed(u"the " + Widen(decoder->name) + u" decoder cannot start: " +
                             ffmpeg::AvError(status));
    // Every other stream (video, cover pictures) is left unread.
    for (unsigned i = 0; i < format_->nb_streams; ++i)
        format_->streams[i]->discard = int(i) == stream_ ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    return true;
}

// The first frame fixes the format: some decoders know their sample format and bit depth only
// once they have decoded. DSD is the exception (below).
bool FfmpegDecoder::ChooseOutput() {
    if (!NextFrame())
        return error_.Empty() ? error_.Fail(u"the audio stream holds no samples"), false : false;
    haveFrame_ = true;
    const AVFrame& f = *frame_;
    int bits = codec_->bits_per_raw_sample;
    if (bits == 0)
        bits = format_->streams[stream_]->codecpar->bits_per_raw_sample;
    auto format = static_cast<AVSampleFormat>(f.format);
    int rate = f.sample_rate;
    if (IsDsd(codec_->codec_id)) {
        // libavcodec decodes DSD to float at an eighth of its bit rate (352.8 kHz for DSD64,
        // 705.6 kHz for DSD128): more than FLAC's subset and most players take. It becomes
        // 24-bit PCM at 176.4 kHz, the rate DSD is usually converted to, which keeps the audio
        // band and its noise shaping's rise above 50 kHz clear of the cut.
        information_.Add(u"DSD at " + Widen(std::to_string(int64_t{f.sample_rate} * 8)) +
                         u" Hz is converted to 24-bit PCM at " +
                         Widen(std::to_string(kDsdPcmRate)) + u" Hz");
        format = AV_SAMPLE_FMT_S32;
        rate = kDsdPcmRate;
        bits = 24;
    }
    if (!output_.Choose(format, bits, static_cast<uint16_t>(f.ch_layout.nb_channels),
                        static_cast<uint32_t>(rate)))
        return error_.Failed(u"the decoder's sample format " +
                             Widen(av_get_sample_fmt_name(AVSampleFormat(f.format))) +
                             u" has no wave form");
    return follower_.Start(f, format, rate) ? true : (error_.Fail(u"out of memory"), false);
}

// Block codecs pad their last block; the container says how long the music is. iTunSMPB gives
// the length itself; otherwise the edit list's length (the stream's duration) counts for AAC in
// MP4, and a WAV's "fact" count for its compressed formats.
void FfmpegDecoder::FindExactLength() {
    const AVStream& s = *format_->streams[stream_];
    exactFrames_ = ITunesLength(format_->metadata);
    if (exactFrames_ == 0)
        exactFrames_ = ITunesLength(s.metadata);
    const bool aacInMp4 =
        s.codecpar->codec_id == AV_CODEC_ID_AAC && std::strstr(format_->iformat->name, "mp4");
    const bool wave = std::strcmp(format_->iformat->name, "wav") == 0;
    if (exactFrames_ == 0 && s.duration > 0 && (aacInMp4 || wave))
        exactFrames_ = static_cast<uint64_t>(av_rescale_q(
            s.duration, s.time_base, AVRational{1, int(output_.Wave().samplesPerSec)}));
}

void FfmpegDecoder::DescribeSource(DecodeOpenInfo& info) {
    const WmWaveFormat& wave = output_.Wave();
    const AVStream& s = *format_->streams[stream_];
    uint64_t frames = exactFrames_;
    if (frames == 0 && s.duration > 0)
        frames = static_cast<uint64_t>(
            av_rescale_q(s.duration, s.time_base, AVRational{1, int(wave.samplesPerSec)}));
    else if (frames == 0 && format_->duration > 0)
        frames =
            static_cast<uint64_t>(av_rescale(format_->duration, wave.samplesPerSec, AV_TIME_BASE));
    info.format = wave;
    info.byteLength = frames * wave.blockAlign;
    info.msLength = frames * 1000 / wave.samplesPerSec;
    const int64_t rate = s.codecpar->bit_rate > 0 ? s.codecpar->bit_rate : format_->bit_rate;
    info.bitRate = rate > 0 && rate <= INT32_MAX ? static_cast<uint32_t>(rate) : 0;
    wav::WaveTags tags;
    ffmpeg::ReadAvTags(*format_, stream_, tags);
    HandOutTags(tags, info);
}

bool FfmpegDecoder::NextFrame() {
    for (;;) {
        int status = avcodec_receive_frame(codec_.get(), frame_.get());
        if (status == 0)
            return true;
        if (status == AVERROR_EOF)
            return drained_ = true, false;
        if (status != AVERROR(EAGAIN) && readAll_)
            return DropCutPacket(), drained_ = true, false;
        // Damage counts only when more of the file follows: a last packet cut short (less than
        // a sample frame, say) is dropped, as the native ffmpeg drops it.
        if (status != AVERROR(EAGAIN))
            damage_ = status;
        status = av_read_frame(format_, packet_.get());
        if (status == AVERROR_EOF || (status < 0 && TagsReached())) {
            if (damage_ != 0)
                DropCutPacket();
            damage_ = 0;
            readAll_ = true;
            avcodec_send_packet(codec_.get(), nullptr);
            continue;
        }
        if (status < 0)
            return error_.Failed(u"reading the file failed: " + ffmpeg::AvError(status));
        if (damage_ != 0)
            return error_.Failed(Damaged(damage_));
        if (packet_->pos >= 0)
            readTo_ = std::max(readTo_, uint64_t(packet_->pos) + uint64_t(packet_->size));
        if (packet_->stream_index == stream_)
            status = avcodec_send_packet(codec_.get(), packet_.get());
        av_packet_unref(packet_.get());
        if (status < 0 && status != AVERROR(EAGAIN))
            damage_ = status;
    }
}

// Tags stacked at the end (an APE tag with an ID3v1 tag after it, say) are no audio: a demuxer
// that does not know them fails on them once every byte before them has been read.
bool FfmpegDecoder::TagsReached() const {
    return tagsFrom_ < fileSize_ && readTo_ >= tagsFrom_;
}

void FfmpegDecoder::DropCutPacket() {
    information_.Add(u"the file ends inside a packet of audio (after " +
                     Widen(std::to_string(takenFrames_ * 1000 /
                                          std::max<uint32_t>(output_.Wave().samplesPerSec, 1))) +
                     u" ms): that part was dropped");
}

String FfmpegDecoder::Damaged(int status) const {
    const uint32_t rate = std::max<uint32_t>(output_.Wave().samplesPerSec, 1);
    return u"the audio is damaged after " + Widen(std::to_string(takenFrames_ * 1000 / rate)) +
           u" ms: " + ffmpeg::AvError(status);
}

bool FfmpegDecoder::TakeFrame(const AVFrame& frame) {
    const AVFrame* f = &frame;
    if (!follower_.Matches(frame)) {
        int status = 0;
        if (!(f = follower_.Convert(&frame, status)) && status < 0)
            return error_.Failed(u"the stream changes its format midway and cannot be converted "
                                 u"back: " +
                                 ffmpeg::AvError(status));
    }
    if (!f)
        return true;
    uint64_t frames = static_cast<uint64_t>(f->nb_samples);
    if (exactFrames_ != 0)
        frames = std::min(frames, exactFrames_ - std::min(exactFrames_, takenFrames_));
    AVFrame cut = *f;
    cut.nb_samples = static_cast<int>(frames);
    output_.Append(cut, pcm_);
    takenFrames_ += frames;
    return true;
}

bool FfmpegDecoder::Fill(size_t wanted) {
    while (pcm_.size() < wanted) {
        if (!haveFrame_ && !drained_ && !NextFrame() && !error_.Empty())
            return false;
        if (drained_ && !haveFrame_) {
            int status = 0;
            const AVFrame* rest = follower_.Convert(nullptr, status);
            return !rest || TakeFrame(*rest) ? true : false;
        }
        haveFrame_ = false;
        if (!TakeFrame(*frame_))
            return false;
        av_frame_unref(frame_.get());
    }
    return true;
}

uint32_t FfmpegDecoder::Close() noexcept {
    codec_.reset();
    packet_.reset();
    frame_.reset();
    avformat_close_input(&format_);
    follower_.Reset();
    stream_ = -1;
    haveFrame_ = drained_ = finished_ = readAll_ = false;
    damage_ = 0;
    exactFrames_ = takenFrames_ = deliveredBytes_ = 0;
    fileSize_ = tagsFrom_ = readTo_ = 0;
    handed_ = 0;
    std::vector<uint8_t>().swap(pcm_);
    ReleaseTags();
    return 1;
}

uint32_t FfmpegDecoder::DecodeBlock(AudioBlockInfo* block) noexcept {
    if (!block || !format_ || finished_)
        return error_.Fail(u"the decoder is not open");
    const WmWaveFormat& wave = output_.Wave();
    try {
        pcm_.erase(pcm_.begin(), pcm_.begin() + static_cast<std::ptrdiff_t>(handed_));
        if (!Fill(kBlockFrames * wave.blockAlign))
            return 0;
    } catch (const std::bad_alloc&) {
        return error_.Fail(u"out of memory");
    }
    handed_ = std::min(pcm_.size(), kBlockFrames * wave.blockAlign);
    // The end travels in an empty block of its own, positioned at the very end, so that the
    // host's progress reaches 100 %.
    finished_ = drained_ && !haveFrame_ && handed_ == 0;
    return codec::HandOutBlock(*block, pcm_.data(), handed_, wave, deliveredBytes_, finished_);
}

uint32_t FfmpegDecoder::SetPosition(uint64_t ms) noexcept {
    if (!format_)
        return 0;
    const int64_t at = av_rescale(static_cast<int64_t>(ms), AV_TIME_BASE, 1000);
    const int status = avformat_seek_file(format_, -1, INT64_MIN, at, at, 0);
    if (status < 0)
        return error_.Fail(u"seeking failed: " + ffmpeg::AvError(status));
    avcodec_flush_buffers(codec_.get());
    pcm_.clear();
    handed_ = 0;
    haveFrame_ = drained_ = finished_ = readAll_ = false;
    damage_ = 0;
    readTo_ = 0;
    // The position is as near as the container's index allows.
    takenFrames_ = static_cast<uint64_t>(ms) * output_.Wave().samplesPerSec / 1000;
    deliveredBytes_ = takenFrames_ * output_.Wave().blockAlign;
    return 1;
}

} // namespace wm::bundled
