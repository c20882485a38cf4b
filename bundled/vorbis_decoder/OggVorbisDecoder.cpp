#include "bundled/vorbis_decoder/OggVorbisDecoder.h"

#include <algorithm>
#include <climits>
#include <string>

namespace wm::bundled {

namespace {

constexpr codec::DecodedType kTypes[] = {{u".ogg", u"Ogg Vorbis"}, {u".oga", u"Ogg Vorbis"}};

String VorbisFileError(long code) {
    switch (code) {
    case OV_EREAD:
        return u"the file cannot be read";
    case OV_ENOTVORBIS:
        return u"no Vorbis audio stream found";
    case OV_EVERSION:
        return u"a Vorbis version this decoder does not know";
    case OV_EBADHEADER:
        return u"a Vorbis header is damaged";
    case OV_EBADLINK:
        return u"the stream's pages are damaged or out of order";
    case OV_HOLE:
        return u"a page is damaged or missing";
    default:
        return u"libvorbisfile error " + Widen(std::to_string(code));
    }
}

} // namespace

OggVorbisDecoder::OggVorbisDecoder() : OggDecoder(codec::OggCodec::Vorbis, kTypes) {}

bool OggVorbisDecoder::Start(Stream& stream, String& why) {
    const ov_callbacks callbacks{OnRead, OnSeek, nullptr, OnTell};
    const int status = ov_open_callbacks(this, &file_, nullptr, 0, callbacks);
    if (status < 0)
        return why = VorbisFileError(status), false;
    libraryOpen_ = true;
    const vorbis_info* info = ov_info(&file_, 0);
    if (!info || !SameFormatThroughout(*info))
        return why = u"the file chains Vorbis streams of different rates or channel counts", false;
    const ogg_int64_t total = ov_pcm_total(&file_, -1);
    if (total < 0)
        return why = u"the stream's length cannot be read", false;
    channels_ = static_cast<uint16_t>(std::clamp(info->channels, 0, 65535));
    stream.channels = channels_;
    stream.rate = static_cast<uint32_t>(info->rate);
    stream.samples = static_cast<uint64_t>(total);
    stream.bitRate = static_cast<uint32_t>(std::clamp<long>(ov_bitrate(&file_, -1), 0, LONG_MAX));
    if (const vorbis_comment* comments = ov_comment(&file_, 0))
        for (int i = 0; i < comments->comments; ++i)
            stream.comments.emplace_back(comments->user_comments[i],
                                         static_cast<size_t>(comments->comment_lengths[i]));
    return true;
}

bool OggVorbisDecoder::SameFormatThroughout(const vorbis_info& first) const {
    if (first.rate <= 0)
        return false;
    const long links = ov_streams(const_cast<OggVorbis_File*>(&file_));
    for (int li = 1; li < links; ++li) {
        const vorbis_info* info = ov_info(const_cast<OggVorbis_File*>(&file_), li);
        if (!info || info->rate != first.rate || info->channels != first.channels)
            return false;
    }
    return true;
}

long OggVorbisDecoder::Read(int16_t* samples, size_t frames, String& why) {
    const size_t bytes = std::min<size_t>(frames * channels_ * 2, INT_MAX);
    int section = 0;
    // Little-endian, 16-bit, signed.
    const long n = ov_read(&file_, reinterpret_cast<char*>(samples), static_cast<int>(bytes), 0, 2,
                           1, &section);
    if (n < 0)
        return why = VorbisFileError(n), -1;
    return n / (2 * channels_);
}

bool OggVorbisDecoder::Seek(uint64_t sample) {
    return ov_pcm_seek(&file_, static_cast<ogg_int64_t>(sample)) == 0;
}

void OggVorbisDecoder::Stop() {
    if (libraryOpen_)
        ov_clear(&file_);
    file_ = OggVorbis_File{};
    libraryOpen_ = false;
    channels_ = 0;
}

size_t OggVorbisDecoder::OnRead(void* buffer, size_t size, size_t count, void* self) {
    if (size == 0)
        return 0;
    return static_cast<OggVorbisDecoder*>(self)->input_.Read(buffer, size * count) / size;
}

int OggVorbisDecoder::OnSeek(void* self, ogg_int64_t offset, int whence) {
    return static_cast<OggVorbisDecoder*>(self)->input_.Seek(offset, whence) ? 0 : -1;
}

long OggVorbisDecoder::OnTell(void* self) {
    return static_cast<long>(static_cast<OggVorbisDecoder*>(self)->input_.Tell());
}

} // namespace wm::bundled
