#include "bundled/flac_encoder/FlacEncoder.h"

#include "bundled/codec/VorbisComments.h"
#include "bundled/flac_encoder/FlacStatusText.h"
#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/TagSetBridge.h"
#include "tags/IDTagSet.h"
#include "tags/ImageInfo.h"

#include <FLAC/metadata.h>

#include <algorithm>
#include <new>
#include <string>

namespace wm::bundled {

namespace {
// The help text "Wavemill.exe -help" shows under this encoder.
constexpr const char16_t* kHelp =
    u"-0 ... -8          compression level (default 5); also -compression-level-N\r\n"
    u"-V                 verify the encoded stream while encoding\r\n"
    u"-b <n>             block size in samples (default: the level's)\r\n"
    u"-padding <bytes>   room kept for later tag edits (default 8192); -no-padding\r\n"
    u"-no-seektable      write no seek table";
} // namespace

namespace {

constexpr uint32_t kSeekSpacingSeconds = 10;
// Ten-second points for 21 minutes; longer streams space their points wider.
constexpr size_t kSeekCapacity = 128;
// A metadata block holds at most 16 MiB - 1 bytes.
constexpr size_t kMaxBlock = (1u << 24) - 1;

FlacEncoder* Self(void* client) {
    return static_cast<FlacEncoder*>(client);
}

String Decimal(uint64_t v) {
    return Widen(std::to_string(v));
}

} // namespace

FlacEncoder::FlacEncoder() : codec::EncoderFrame(u".flac", kHelp, codec::Fidelity::Lossless) {}

bool FlacEncoder::Start(const ConversionInfo& conversion) {
    String why;
    options_ = FlacOptions{};
    if (!ParseFlacOptions(conversion.commandLine ? conversion.commandLine : u"", options_, why))
        return error_.Failed(why);
    if (!Configure(*conversion.sourceFormat) || !AddMetadata(conversion))
        return false;
    if (!out_.Create(conversion.outputPath))
        return error_.Failed(u"the output file cannot be created");
    const auto status =
        FLAC__stream_encoder_init_stream(encoder_, OnWrite, OnSeek, OnTell, nullptr, this);
    if (status != FLAC__STREAM_ENCODER_INIT_STATUS_OK)
        return error_.Fail(InitStatusInWords(
                   status, {layout_.channels, layout_.validBits, format_.samplesPerSec})),
               false;
    return true;
}

bool FlacEncoder::Configure(const WmWaveFormat& format) {
    format_ = format;
    if (!codec::PcmLayoutOf(format_, layout_))
        return error_.Fail(u"FLAC stores integer PCM only; store a float source as 24-bit "
                           u"with -dspeffect1=\"BitDepth=bits=24\""),
               false;
    encoder_ = FLAC__stream_encoder_new();
    if (!encoder_)
        return error_.Failed(u"out of memory");
    FLAC__stream_encoder_set_channels(encoder_, layout_.channels);
    FLAC__stream_encoder_set_bits_per_sample(encoder_, layout_.validBits);
    FLAC__stream_encoder_set_sample_rate(encoder_, format_.samplesPerSec);
    FLAC__stream_encoder_set_compression_level(encoder_, options_.level);
    FLAC__stream_encoder_set_verify(encoder_, options_.verify);
    if (options_.blockSize)
        FLAC__stream_encoder_set_blocksize(encoder_, options_.blockSize);
    return true;
}

bool FlacEncoder::AddMetadata(const ConversionInfo& conversion) {
    const wav::WaveTags tags = SourceTags(conversion);

    FLAC__StreamMetadata* comments = FLAC__metadata_object_new(FLAC__METADATA_TYPE_VORBIS_COMMENT);
    if (!comments)
        return error_.Failed(u"out of memory");
    metadata_.push_back(comments);
    for (const std::string& c : codec::MakeVorbisComments(tags)) {
        FLAC__StreamMetadata_VorbisComment_Entry entry{
            static_cast<FLAC__uint32>(c.size()),
            reinterpret_cast<FLAC__byte*>(const_cast<char*>(c.data()))};
        if (c.size() < kMaxBlock / 2 &&
            !FLAC__metadata_object_vorbiscomment_append_comment(comments, entry, true))
            return error_.Failed(u"out of memory");
    }
    for (const wav::Picture& pic : tags.pictures)
        if (!AddPicture(pic))
            return error_.Failed(u"out of memory");
    seekPoints_.Start(uint64_t{kSeekSpacingSeconds} * format_.samplesPerSec,
                      options_.seekTable ? kSeekCapacity : 0);
    reserved_ = seekPoints_.ReservedLength(options_.padding);
    if (reserved_ != 0) {
        FLAC__StreamMetadata* padding = FLAC__metadata_object_new(FLAC__METADATA_TYPE_PADDING);
        if (!padding)
            return error_.Failed(u"out of memory");
        padding->length = reserved_;
        metadata_.push_back(padding);
    }
    return FLAC__stream_encoder_set_metadata(encoder_, metadata_.data(),
                                             static_cast<uint32_t>(metadata_.size())) ||
           error_.Failed(u"libFLAC refused the metadata");
}

bool FlacEncoder::AddPicture(const wav::Picture& pic) {
    // A picture too large for a metadata block stays out rather than fail the conversion.
    if (pic.data.empty() || pic.data.size() > kMaxBlock - 64 * 1024)
        return true;
    FLAC__StreamMetadata* block = FLAC__metadata_object_new(FLAC__METADATA_TYPE_PICTURE);
    if (!block)
        return false;
    metadata_.push_back(block);
    std::string mime = wav::PictureMimeType(pic.data.data(), pic.data.size());
    std::string description = Narrow(pic.description);
    const ImageInfo image = GetImageInfo(pic.data.data(), pic.data.size());
    block->data.picture.type = static_cast<FLAC__StreamMetadata_Picture_Type>(pic.type);
    block->data.picture.width = image.Width;
    block->data.picture.height = image.Height;
    block->data.picture.depth = image.BitsPerPixel;
    return FLAC__metadata_object_picture_set_mime_type(block, mime.data(), true) &&
           FLAC__metadata_object_picture_set_description(
               block, reinterpret_cast<FLAC__byte*>(description.data()), true) &&
           FLAC__metadata_object_picture_set_data(block, const_cast<uint8_t*>(pic.data.data()),
                                                  static_cast<FLAC__uint32>(pic.data.size()), true);
}

bool FlacEncoder::SameFormat(const WmWaveFormat& format) const {
    codec::PcmLayout layout;
    return codec::PcmLayoutOf(format, layout) && layout.channels == layout_.channels &&
           layout.containerBytes == layout_.containerBytes &&
           format.samplesPerSec == format_.samplesPerSec;
}

bool FlacEncoder::EncodeFrames(const uint8_t* data, size_t frames) {
    samples_.resize(frames * layout_.channels);
    codec::UnpackPcm(data, frames, layout_, samples_.data());
    if (!FLAC__stream_encoder_process_interleaved(encoder_, samples_.data(),
                                                  static_cast<uint32_t>(frames)))
        return error_.Failed(u"libFLAC failed: " + EncoderState());
    return true;
}

uint32_t FlacEncoder::End() noexcept {
    if (!begun_)
        return error_.Fail(u"the encoder has not begun");
    bool ok = FLAC__stream_encoder_finish(encoder_) != 0;
    if (!ok)
        error_.Fail(u"libFLAC could not finish: " + EncoderState());
    try {
        ok = ok && WriteSeekTable();
    } catch (const std::bad_alloc&) {
        ok = error_.Fail(u"out of memory");
    }
    return CloseAndReset(ok, out_);
}

bool FlacEncoder::WriteSeekTable() {
    if (!options_.seekTable || metadataEnd_ == 0)
        return true;
    const std::vector<uint8_t> patch = seekPoints_.Patch(options_.padding);
    const uint64_t reservedAt = metadataEnd_ - 4 - reserved_;
    return (out_.Seek(reservedAt) && out_.Write(patch.data(), patch.size())) ||
           error_.Fail(u"writing the seek table failed");
}

String FlacEncoder::EncoderState() const {
    if (!encoder_)
        return u"no encoder";
    const FLAC__StreamEncoderState state = FLAC__stream_encoder_get_state(encoder_);
    String text = StateInWords(state);
    if (state == FLAC__STREAM_ENCODER_VERIFY_MISMATCH_IN_AUDIO_DATA) {
        FLAC__uint64 sample;
        uint32_t channel, wide, frame;
        FLAC__int32 expected, got;
        FLAC__stream_encoder_get_verify_decoder_error_stats(encoder_, &sample, &frame, &channel,
                                                            &wide, &expected, &got);
        text += u" at sample " + Decimal(sample) + u", channel " + Decimal(channel);
    }
    return text;
}

void FlacEncoder::Reset() {
    if (encoder_)
        FLAC__stream_encoder_delete(encoder_);
    encoder_ = nullptr;
    for (FLAC__StreamMetadata* m : metadata_)
        FLAC__metadata_object_delete(m);
    metadata_.clear();
    out_.Abandon();
    std::vector<int32_t>().swap(samples_);
    firstFrameAt_ = metadataEnd_ = 0;
    reserved_ = 0;
    begun_ = false;
}

FLAC__StreamEncoderWriteStatus FlacEncoder::OnWrite(const FLAC__StreamEncoder*,
                                                    const FLAC__byte buffer[], size_t bytes,
                                                    uint32_t samples, uint32_t, void* client) {
    FlacEncoder& e = *Self(client);
    // The reserved block is the last of the metadata; where the metadata ends is known only
    // once the stream is written (the final STREAMINFO comes back to the start).
    if (samples == 0 && e.firstFrameAt_ == 0)
        e.metadataEnd_ = std::max(e.metadataEnd_, e.out_.Tell() + bytes);
    if (samples != 0) {
        if (e.firstFrameAt_ == 0)
            e.firstFrameAt_ = e.out_.Tell();
        e.seekPoints_.AddFrame(e.out_.Tell() - e.firstFrameAt_, samples);
    }
    return e.out_.Write(buffer, bytes) ? FLAC__STREAM_ENCODER_WRITE_STATUS_OK
                                       : FLAC__STREAM_ENCODER_WRITE_STATUS_FATAL_ERROR;
}

FLAC__StreamEncoderSeekStatus FlacEncoder::OnSeek(const FLAC__StreamEncoder*, FLAC__uint64 offset,
                                                  void* client) {
    return Self(client)->out_.Seek(offset) ? FLAC__STREAM_ENCODER_SEEK_STATUS_OK
                                           : FLAC__STREAM_ENCODER_SEEK_STATUS_ERROR;
}

FLAC__StreamEncoderTellStatus FlacEncoder::OnTell(const FLAC__StreamEncoder*, FLAC__uint64* offset,
                                                  void* client) {
    *offset = Self(client)->out_.Tell();
    return FLAC__STREAM_ENCODER_TELL_STATUS_OK;
}

} // namespace wm::bundled
