#include "bundled/flac_decoder/FlacDecoder.h"

#include "bundled/codec/VorbisComments.h"
#include "bundled/flac_decoder/FlacTagWriter.h"
#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveFormatRules.h"
#include "tags/IDTagSet.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

namespace wm::bundled {

namespace {

// Half a second a block keeps the host's loop responsive; one frame may overshoot it.
constexpr uint32_t kBlockMs = 500;

constexpr codec::DecodedType kTypes[] = {{u".flac", u"FLAC Lossless Audio"},
                                         {u".fla", u"FLAC Lossless Audio"}};

FlacDecoder* Self(void* client) {
    return static_cast<FlacDecoder*>(client);
}

String ErrorName(FLAC__StreamDecoderErrorStatus status) {
    switch (status) {
    case FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH:
        return u"a frame's CRC does not match (damaged data)";
    case FLAC__STREAM_DECODER_ERROR_STATUS_LOST_SYNC:
        return u"the decoder lost sync (damaged or foreign data)";
    case FLAC__STREAM_DECODER_ERROR_STATUS_BAD_HEADER:
        return u"a frame header is damaged";
    default:
        return u"the stream cannot be parsed";
    }
}

} // namespace

uint32_t FlacDecoder::SetOwn(const WmChar* name, PluginValue* value) noexcept {
    return AnswerTagWrite(name, value, WriteFlacTags);
}

FlacDecoder::FlacDecoder() : DecoderFrame(kTypes) {}

bool FlacDecoder::OpenStream(DecodeOpenInfo& info) {
    if (std::u16string_view(info.path) == u"-" || !file_.Open(info.path))
        return error_.Failed(u"the file cannot be opened");
    fileSize_ = file_.Size();
    decoder_ = FLAC__stream_decoder_new();
    if (!decoder_)
        return error_.Failed(u"out of memory");
    FLAC__stream_decoder_set_md5_checking(decoder_, true);
    FLAC__stream_decoder_set_metadata_respond(decoder_, FLAC__METADATA_TYPE_VORBIS_COMMENT);
    FLAC__stream_decoder_set_metadata_respond(decoder_, FLAC__METADATA_TYPE_PICTURE);
    if (FLAC__stream_decoder_init_stream(decoder_, OnRead, OnSeek, OnTell, OnLength, OnEof, OnWrite,
                                         OnMetadata, OnError,
                                         this) != FLAC__STREAM_DECODER_INIT_STATUS_OK)
        return error_.Failed(u"libFLAC could not start");
    const bool read = FLAC__stream_decoder_process_until_end_of_metadata(decoder_);
    if (!haveInfo_)
        return error_.Failed(u"not a FLAC file (no FLAC stream header)");
    if (!read)
        return error_.Fail(u"a metadata block is damaged (" +
                           Widen(FLAC__stream_decoder_get_resolved_state_string(decoder_)) + u")"),
               false;
    if (damaged_)
        return error_.Failed(u"damaged metadata: " + ErrorName(streamError_));

    format_ = codec::PcmFormat(static_cast<uint16_t>(info_.channels), info_.sample_rate,
                               static_cast<uint16_t>(info_.bits_per_sample));
    codec::PcmLayoutOf(format_, layout_);
    info.format = format_;
    info.byteLength = info_.total_samples * format_.blockAlign;
    info.msLength = info_.total_samples * 1000 / info_.sample_rate;
    info.bitRate = info.msLength ? static_cast<uint32_t>(std::min<uint64_t>(
                                       fileSize_ * 8000 / info.msLength, UINT32_MAX))
                                 : 0;
    HandOutTags(TakeTags(), info);
    return true;
}

wav::WaveTags FlacDecoder::TakeTags() {
    std::vector<std::string_view> comments(comments_.begin(), comments_.end());
    wav::WaveTags tags;
    codec::ReadVorbisComments(comments, tags);
    std::vector<wav::Picture> pictures;
    for (PictureBlock& p : pictures_) {
        wav::Picture pic;
        pic.type = static_cast<uint8_t>(std::min<uint32_t>(p.type, 255));
        pic.description = Widen(p.description);
        pic.data = std::move(p.data);
        pictures.push_back(std::move(pic));
    }
    tags.AdoptPictures(std::move(pictures));
    pictures_.clear();
    comments_.clear();
    return tags;
}

uint32_t FlacDecoder::Close() noexcept {
    if (decoder_)
        FLAC__stream_decoder_delete(decoder_);
    decoder_ = nullptr;
    haveInfo_ = damaged_ = sought_ = finished_ = false;
    fileSize_ = readAt_ = deliveredBytes_ = decodedFrames_ = 0;
    progress_.Reset();
    std::vector<uint8_t>().swap(pcm_);
    handed_ = 0;
    ReleaseTags();
    comments_.clear();
    pictures_.clear();
    return file_.Close() ? 1 : 0;
}

uint32_t FlacDecoder::DecodeBlock(AudioBlockInfo* block) noexcept {
    if (!block || !decoder_ || finished_)
        return error_.Fail(u"the decoder is not open");
    try {
        pcm_.erase(pcm_.begin(), pcm_.begin() + static_cast<ptrdiff_t>(handed_));
        const size_t wanted = wav::MsToBytes(kBlockMs, format_.avgBytesPerSec, format_.blockAlign);
        if (!FillBlock(std::max<size_t>(wanted, format_.blockAlign)))
            return 0;
    } catch (const std::bad_alloc&) {
        return error_.Fail(u"out of memory");
    }
    if (pcm_.empty()) {
        if (!FinishStream())
            return 0;
        finished_ = true;
    }
    handed_ = pcm_.size();
    return codec::HandOutBlock(*block, pcm_.data(), handed_, format_, deliveredBytes_, finished_);
}

bool FlacDecoder::FillBlock(size_t wanted) {
    while (pcm_.size() < wanted &&
           FLAC__stream_decoder_get_state(decoder_) != FLAC__STREAM_DECODER_END_OF_STREAM) {
        if (!FLAC__stream_decoder_process_single(decoder_)) {
            // A frame the write callback refused has its own reason already.
            if (FLAC__stream_decoder_get_state(decoder_) == FLAC__STREAM_DECODER_ABORTED &&
                !error_.Empty())
                return false;
            return error_.Fail(u"libFLAC stopped: " +
                               Widen(FLAC__stream_decoder_get_resolved_state_string(decoder_))),
                   false;
        }
        if (!progress_.Moved(readAt_, decodedFrames_))
            return error_.Fail(u"decoding stalls after sample " +
                               Widen(std::to_string(decodedFrames_)) +
                               u": libFLAC neither reads on nor decodes there"),
                   false;
        // A frame cut off by the end of the file shows as lost sync: say what it is.
        if (damaged_ && CutOff())
            return error_.Failed(EndsEarly());
        if (damaged_)
            return error_.Fail(ErrorName(streamError_) + u" after sample " +
                               Widen(std::to_string(decodedFrames_))),
                   false;
    }
    return true;
}

bool FlacDecoder::FinishStream() {
    const bool md5Checked = !sought_;
    if (!sought_ && info_.total_samples != 0 && decodedFrames_ != info_.total_samples)
        return error_.Failed(EndsEarly());
    if (!FLAC__stream_decoder_finish(decoder_) && md5Checked)
        return error_.Fail(u"the decoded audio does not match the MD5 signature of the file"),
               false;
    return true;
}

bool FlacDecoder::CutOff() const {
    return FLAC__stream_decoder_get_state(decoder_) == FLAC__STREAM_DECODER_END_OF_STREAM &&
           decodedFrames_ < info_.total_samples;
}

String FlacDecoder::EndsEarly() const {
    return u"the file ends early: " + Widen(std::to_string(decodedFrames_)) + u" of " +
           Widen(std::to_string(info_.total_samples)) + u" samples decoded";
}

uint32_t FlacDecoder::SetPosition(uint64_t ms) noexcept {
    if (!decoder_)
        return 0;
    uint64_t sample = ms * info_.sample_rate / 1000;
    if (info_.total_samples != 0)
        sample = std::min<uint64_t>(sample, info_.total_samples - 1);
    try {
        pcm_.clear();
        handed_ = 0;
        sought_ = true;
        progress_.Reset();
        finished_ = false;
        if (!FLAC__stream_decoder_seek_absolute(decoder_, sample)) {
            FLAC__stream_decoder_flush(decoder_);
            return error_.Fail(u"seeking failed");
        }
    } catch (const std::bad_alloc&) {
        return error_.Fail(u"out of memory");
    }
    deliveredBytes_ = sample * format_.blockAlign;
    return 1;
}

FLAC__StreamDecoderReadStatus FlacDecoder::OnRead(const FLAC__StreamDecoder*, FLAC__byte buffer[],
                                                  size_t* bytes, void* client) {
    FlacDecoder& d = *Self(client);
    const size_t n = d.file_.Read(d.readAt_, buffer, *bytes);
    d.readAt_ += n;
    *bytes = n;
    return n == 0 ? FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM
                  : FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
}

FLAC__StreamDecoderSeekStatus FlacDecoder::OnSeek(const FLAC__StreamDecoder*, FLAC__uint64 offset,
                                                  void* client) {
    FlacDecoder& d = *Self(client);
    if (offset > d.fileSize_)
        return FLAC__STREAM_DECODER_SEEK_STATUS_ERROR;
    d.readAt_ = offset;
    return FLAC__STREAM_DECODER_SEEK_STATUS_OK;
}

FLAC__StreamDecoderTellStatus FlacDecoder::OnTell(const FLAC__StreamDecoder*, FLAC__uint64* offset,
                                                  void* client) {
    *offset = Self(client)->readAt_;
    return FLAC__STREAM_DECODER_TELL_STATUS_OK;
}

FLAC__StreamDecoderLengthStatus FlacDecoder::OnLength(const FLAC__StreamDecoder*,
                                                      FLAC__uint64* length, void* client) {
    *length = Self(client)->fileSize_;
    return FLAC__STREAM_DECODER_LENGTH_STATUS_OK;
}

FLAC__bool FlacDecoder::OnEof(const FLAC__StreamDecoder*, void* client) {
    return Self(client)->readAt_ >= Self(client)->fileSize_;
}

FLAC__StreamDecoderWriteStatus FlacDecoder::OnWrite(const FLAC__StreamDecoder*,
                                                    const FLAC__Frame* frame,
                                                    const FLAC__int32* const buffer[],
                                                    void* client) {
    FlacDecoder& d = *Self(client);
    // A stream whose frames change format midway would mislabel every later block (a changed
    // rate would play at the wrong speed).
    if (frame->header.channels != d.info_.channels ||
        frame->header.bits_per_sample != d.info_.bits_per_sample) {
        d.error_.Fail(u"a frame changes the channel count or sample size");
        return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    }
    if (frame->header.sample_rate != d.info_.sample_rate) {
        d.error_.Fail(u"a frame changes the sample rate midway (" +
                      Widen(std::to_string(d.info_.sample_rate)) + u" to " +
                      Widen(std::to_string(frame->header.sample_rate)) + u" Hz)");
        return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    }
    const size_t frames = frame->header.blocksize;
    const size_t at = d.pcm_.size();
    try {
        d.pcm_.resize(at + frames * d.format_.blockAlign);
    } catch (const std::bad_alloc&) {
        d.error_.Fail(u"out of memory");
        return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    }
    codec::PackPlanar(buffer, frames, d.layout_, d.pcm_.data() + at);
    d.decodedFrames_ += frames;
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

void FlacDecoder::OnMetadata(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* m,
                             void* client) {
    FlacDecoder& d = *Self(client);
    try {
        if (m->type == FLAC__METADATA_TYPE_STREAMINFO) {
            d.info_ = m->data.stream_info;
            d.haveInfo_ = true;
        } else if (m->type == FLAC__METADATA_TYPE_VORBIS_COMMENT) {
            const auto& vc = m->data.vorbis_comment;
            for (uint32_t i = 0; i < vc.num_comments; ++i)
                d.comments_.emplace_back(reinterpret_cast<const char*>(vc.comments[i].entry),
                                         vc.comments[i].length);
        } else if (m->type == FLAC__METADATA_TYPE_PICTURE) {
            const auto& p = m->data.picture;
            d.pictures_.push_back({static_cast<uint32_t>(p.type),
                                   reinterpret_cast<const char*>(p.description),
                                   std::vector<uint8_t>(p.data, p.data + p.data_length)});
        }
    } catch (const std::bad_alloc&) {
        // Tags are a bonus: the audio still decodes without them.
    }
}

void FlacDecoder::OnError(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus status,
                          void* client) {
    FlacDecoder& d = *Self(client);
    if (!d.damaged_)
        d.streamError_ = status;
    d.damaged_ = true;
}

} // namespace wm::bundled
