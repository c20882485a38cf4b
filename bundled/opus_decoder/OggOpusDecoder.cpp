#include "bundled/opus_decoder/OggOpusDecoder.h"

#include <string>

namespace wm::bundled {

namespace {

constexpr codec::DecodedType kTypes[] = {{u".opus", u"Ogg Opus"}};

String OpusFileError(int code) {
    switch (code) {
    case OP_EREAD:
        return u"the file cannot be read";
    case OP_EFAULT:
        return u"out of memory";
    case OP_EIMPL:
        return u"it uses an Opus feature opusfile does not implement";
    case OP_ENOTFORMAT:
    case OP_ENOTAUDIO:
        return u"no Opus audio stream found";
    case OP_EBADHEADER:
        return u"an Opus header is damaged";
    case OP_EVERSION:
        return u"an Opus version this decoder does not know";
    case OP_EBADLINK:
    case OP_EBADTIMESTAMP:
        return u"the stream's pages are out of order or damaged";
    case OP_HOLE:
        return u"a page is damaged or missing";
    default:
        return u"opusfile error " + Widen(std::to_string(code));
    }
}

} // namespace

OggOpusDecoder::OggOpusDecoder() : OggDecoder(codec::OggCodec::Opus, kTypes) {}

bool OggOpusDecoder::Start(Stream& stream, String& why) {
    static const OpusFileCallbacks callbacks{OnRead, OnSeek, OnTell, nullptr};
    int status = 0;
    file_ = op_open_callbacks(this, &callbacks, nullptr, 0, &status);
    if (!file_)
        return why = OpusFileError(status), false;
    const int links = op_link_count(file_);
    channels_ = static_cast<uint16_t>(op_channel_count(file_, 0));
    for (int li = 1; li < links; ++li)
        if (op_channel_count(file_, li) != channels_)
            return why = u"the file chains Opus streams of different channel counts", false;
    const ogg_int64_t total = op_pcm_total(file_, -1);
    if (total < 0)
        return why = u"the stream's length cannot be read", false;
    // The same samples as the reference decoder without its random dither.
    op_set_dither_enabled(file_, 0);
    stream.channels = channels_;
    stream.rate = 48000;
    stream.samples = static_cast<uint64_t>(total);
    stream.bitRate = static_cast<uint32_t>(std::max<opus_int32>(op_bitrate(file_, -1), 0));
    if (const OpusTags* tags = op_tags(file_, 0))
        for (int i = 0; i < tags->comments; ++i)
            stream.comments.emplace_back(tags->user_comments[i],
                                         static_cast<size_t>(tags->comment_lengths[i]));
    return true;
}

long OggOpusDecoder::Read(int16_t* samples, size_t frames, String& why) {
    const size_t wanted = std::min<size_t>(frames * channels_, INT32_MAX);
    const int n = op_read(file_, samples, static_cast<int>(wanted), nullptr);
    if (n < 0)
        return why = OpusFileError(n), -1;
    return n;
}

bool OggOpusDecoder::Seek(uint64_t sample) {
    return op_pcm_seek(file_, static_cast<ogg_int64_t>(sample)) == 0;
}

void OggOpusDecoder::Stop() {
    if (file_)
        op_free(file_);
    file_ = nullptr;
    channels_ = 0;
}

int OggOpusDecoder::OnRead(void* self, unsigned char* buffer, int bytes) {
    return static_cast<int>(
        static_cast<OggOpusDecoder*>(self)->input_.Read(buffer, static_cast<size_t>(bytes)));
}

int OggOpusDecoder::OnSeek(void* self, opus_int64 offset, int whence) {
    return static_cast<OggOpusDecoder*>(self)->input_.Seek(offset, whence) ? 0 : -1;
}

opus_int64 OggOpusDecoder::OnTell(void* self) {
    return static_cast<OggOpusDecoder*>(self)->input_.Tell();
}

} // namespace wm::bundled
