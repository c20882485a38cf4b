#include "bundled/mp3_decoder/Mp3Decoder.h"

#include "bundled/codec/Mp3Layout.h"
#include "bundled/codec/Mp3Tags.h"
#include "bundled/mp3_decoder/Mp3TagWriter.h"
#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveFormatRules.h"
#include "tags/IDTagSet.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <string>

namespace wm::bundled {

namespace {

// Half a second a block at the highest MPEG rate, stereo, 16 bits.
constexpr size_t kBlockBytes = 48000 * 4 / 2;
// An ID3v2 tag is read whole (pictures included) up to this size; the rest of a larger one is
// skipped unread.
constexpr uint64_t kMaxTagRead = 64 * 1024 * 1024;

constexpr codec::DecodedType kTypes[] = {{u".mp3", u"MPEG Audio"}, {u".mp2", u"MPEG Audio"}};

Mp3Decoder* Self(void* handle) {
    return static_cast<Mp3Decoder*>(handle);
}

String Decimal(uint64_t v) {
    return Widen(std::to_string(v));
}

} // namespace

uint32_t Mp3Decoder::SetOwn(const WmChar* name, PluginValue* value) noexcept {
    return AnswerTagWrite(name, value, WriteMp3Tags);
}

Mp3Decoder::Mp3Decoder() : DecoderFrame(kTypes) {}

bool Mp3Decoder::OpenStream(DecodeOpenInfo& info) {
    information_.Clear();
    if (std::u16string_view(info.path) == u"-" || !file_.Open(info.path))
        return error_.Failed(u"the file cannot be opened");
    wav::WaveTags tags;
    ReadTags(tags);
    // mpg123 would find stray syncs in AAC audio and fail only mid-stream; refused here, the
    // file goes to the decoder that reads it.
    uint8_t sync[2] = {};
    if (file_.Read(audioStart_, sync, 2) == 2 && sync[0] == 0xFF && (sync[1] & 0xF6) == 0xF0)
        return error_.Failed(u"the audio is AAC in ADTS frames, not MPEG audio");
    if (!StartDecoder())
        return false;
    const off_t samples = mpg123_length(handle_);
    // With LAME's info frame the length is exact, and a shortfall at the end means frames were
    // skipped as damaged.
    long delay = -1;
    double unused = 0;
    mpg123_getstate(handle_, MPG123_ENC_DELAY, &delay, &unused);
    expectedBytes_ = delay >= 0 && samples > 0 ? uint64_t(samples) * format_.blockAlign : 0;
    // Damage stops the decoder where it lies, to be named, instead of being skipped unseen;
    // with a known length the end of the file then tells an early end apart.
    mpg123_param(handle_, MPG123_ADD_FLAGS, MPG123_NO_RESYNC, 0);
    if (samples > 0) {
        info.byteLength = uint64_t(samples) * format_.blockAlign;
        info.msLength = uint64_t(samples) * 1000 / format_.samplesPerSec;
    }
    info.format = format_;
    mpg123_frameinfo frame{};
    if (mpg123_info(handle_, &frame) == MPG123_OK)
        info.bitRate = static_cast<uint32_t>(frame.bitrate) * 1000;
    HandOutTags(tags, info);
    return true;
}

void Mp3Decoder::ReadTags(wav::WaveTags& tags) {
    const uint64_t size = file_.Size();
    const codec::Mp3Layout layout =
        codec::FindMp3Layout(size, [this](uint64_t offset, uint8_t* buffer, size_t length) {
            return file_.Read(offset, buffer, length);
        });
    audioStart_ = layout.audioStart;
    audioEnd_ = layout.audioEnd;
    // The first tag read wins a field; ID3v1 only fills the gaps of all the ID3v2 tags.
    wav::WaveTags old;
    for (const codec::Mp3TagPlace& place : layout.tags) {
        if (place.kind == codec::Mp3TagKind::Ape)
            continue; // skipped, not read
        // A tag claiming more than the file holds is read as far as the file goes.
        std::vector<uint8_t> bytes(
            static_cast<size_t>(std::min({place.length, size - place.offset, kMaxTagRead})));
        bytes.resize(file_.Read(place.offset, bytes.data(), bytes.size()));
        wav::WaveTags found;
        if (place.kind == codec::Mp3TagKind::Id3v2)
            wav::ReadId3Tag(bytes.data(), bytes.size(), found);
        else
            codec::ReadId3v1(bytes.data(), bytes.size(), old);
        codec::AddMissing(tags, found);
        if (tags.pictures.empty())
            tags.pictures = std::move(found.pictures);
    }
    codec::AddMissing(tags, old);
}

bool Mp3Decoder::StartDecoder() {
    int status = MPG123_OK;
    handle_ = mpg123_new(nullptr, &status);
    if (!handle_)
        return error_.Failed(u"libmpg123 could not start: " + Widen(mpg123_plain_strerror(status)));
    // One output encoding for every rate: 16-bit signed, what most encoders take.
    mpg123_param(handle_, MPG123_ADD_FLAGS, MPG123_GAPLESS | MPG123_QUIET, 0);
    mpg123_format_none(handle_);
    const long* rates = nullptr;
    size_t count = 0;
    mpg123_rates(&rates, &count);
    for (size_t i = 0; i < count; ++i)
        mpg123_format(handle_, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_SIGNED_16);
    if (mpg123_replace_reader_handle(handle_, OnRead, OnSeek, nullptr) != MPG123_OK ||
        mpg123_open_handle(handle_, this) != MPG123_OK)
        return error_.Failed(u"libmpg123 could not open the stream: " + DecoderError());
    long rate = 0;
    int channels = 0, encoding = 0;
    if (mpg123_getformat(handle_, &rate, &channels, &encoding) != MPG123_OK)
        return error_.Failed(u"no MPEG audio found: " + DecoderError());
    format_ = wav::MakeWaveFormat(wav::SampleKind::Pcm, static_cast<uint16_t>(channels),
                                  static_cast<uint32_t>(rate), 16);
    // From here on only the first frame's format is allowed: libmpg123 mixes a stereo frame
    // down, doubles a mono one and resamples a frame at another rate, so a stream whose mode
    // changes between frames (a legal one) keeps one output format and its speed.
    mpg123_format_none(handle_);
    mpg123_format(handle_, rate, channels == 1 ? MPG123_MONO : MPG123_STEREO, MPG123_ENC_SIGNED_16);
    pcm_.resize(kBlockBytes);
    return true;
}

// Known length: damage fails the run where it lies. Unknown: libmpg123 may resynchronise over
// it until the next good frame, and where it lay is told at the end.
bool Mp3Decoder::LostSync(uint64_t atByte) {
    const String where = u"damaged data after sample " + Samples(atByte) + u" (near byte " +
                         Decimal(audioStart_ + LastFrameAt()) + u" of the file)";
    if (expectedBytes_)
        return error_.Failed(where + u": the decoder lost sync");
    if (skipped_++ == 0)
        firstSkipped_ = where;
    mpg123_param(handle_, MPG123_REMOVE_FLAGS, MPG123_NO_RESYNC, 0);
    return true;
}

uint64_t Mp3Decoder::LastFrameAt() const {
    const off_t at = mpg123_framepos(handle_);
    return at > 0 ? uint64_t(at) : 0;
}

String Mp3Decoder::Samples(uint64_t bytes) const {
    return Decimal(bytes / format_.blockAlign);
}

String Mp3Decoder::DecoderError() const {
    return handle_ ? Widen(mpg123_strerror(handle_)) : String(u"no decoder");
}

uint32_t Mp3Decoder::Close() noexcept {
    if (handle_) {
        mpg123_close(handle_);
        mpg123_delete(handle_);
    }
    handle_ = nullptr;
    if (skipped_)
        information_.Add(
            firstSkipped_ + u" was skipped" +
            (skipped_ > 1 ? u", and " + Decimal(skipped_ - 1) + u" more places" : u"") +
            u"; without LAME's info frame the audio lost cannot be measured");
    skipped_ = 0;
    audioStart_ = audioEnd_ = readAt_ = deliveredBytes_ = expectedBytes_ = 0;
    finished_ = false;
    progress_.Reset();
    std::vector<uint8_t>().swap(pcm_);
    ReleaseTags();
    return file_.Close() ? 1 : 0;
}

uint32_t Mp3Decoder::DecodeBlock(AudioBlockInfo* block) noexcept {
    if (!block || !handle_ || finished_)
        return error_.Fail(u"the decoder is not open");
    size_t got = 0;
    while (got < pcm_.size()) {
        size_t done = 0;
        const int status = mpg123_read(handle_, pcm_.data() + got, pcm_.size() - got, &done);
        got += done;
        if (!progress_.Moved(readAt_, deliveredBytes_ + got))
            return error_.Fail(u"decoding stalls near byte " + Decimal(audioStart_ + readAt_) +
                               u" of the file: libmpg123 neither reads on nor decodes there");
        const bool damaged = status == MPG123_ERR && mpg123_errcode(handle_) == MPG123_OUT_OF_SYNC;
        // Data that is no MPEG frame after every sample the info frame promised is a tail, not
        // damage.
        const bool tail = damaged && expectedBytes_ && deliveredBytes_ + got >= expectedBytes_;
        if (status == MPG123_DONE || tail) {
            finished_ = got == 0;
            if (finished_ && deliveredBytes_ < expectedBytes_)
                return error_.Fail(u"the file ends early: " + Samples(deliveredBytes_) + u" of " +
                                   Samples(expectedBytes_) + u" samples decoded");
            break;
        }
        if (damaged && !LostSync(deliveredBytes_ + got))
            return 0;
        if (damaged)
            continue;
        if (done && skipped_)
            mpg123_param(handle_, MPG123_ADD_FLAGS, MPG123_NO_RESYNC, 0); // past the damage
        if (status == MPG123_NEW_FORMAT) {
            long rate = 0;
            int channels = 0, encoding = 0;
            mpg123_getformat(handle_, &rate, &channels, &encoding);
            if (uint32_t(rate) != format_.samplesPerSec || channels != format_.channels)
                return error_.Fail(u"the stream changes its sample rate or channels midway");
        } else if (status != MPG123_OK) {
            return error_.Fail(u"decoding failed: " + DecoderError());
        }
    }
    got -= got % format_.blockAlign;
    return codec::HandOutBlock(*block, pcm_.data(), got, format_, deliveredBytes_, finished_);
}

uint32_t Mp3Decoder::SetPosition(uint64_t ms) noexcept {
    if (!handle_)
        return 0;
    const off_t sample = static_cast<off_t>(ms * format_.samplesPerSec / 1000);
    const off_t at = mpg123_seek(handle_, sample, SEEK_SET);
    if (at < 0)
        return error_.Fail(u"seeking failed: " + DecoderError());
    finished_ = false;
    deliveredBytes_ = uint64_t(at) * format_.blockAlign;
    progress_.Reset();
    return 1;
}

mpg123_ssize_t Mp3Decoder::OnRead(void* handle, void* buffer, size_t bytes) {
    Mp3Decoder& d = *Self(handle);
    const uint64_t left = d.audioEnd_ - d.audioStart_ - d.readAt_;
    const size_t n = d.file_.Read(d.audioStart_ + d.readAt_, buffer,
                                  static_cast<size_t>(std::min<uint64_t>(bytes, left)));
    d.readAt_ += n;
    return static_cast<mpg123_ssize_t>(n);
}

off_t Mp3Decoder::OnSeek(void* handle, off_t offset, int whence) {
    Mp3Decoder& d = *Self(handle);
    const int64_t length = int64_t(d.audioEnd_ - d.audioStart_);
    const int64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? int64_t(d.readAt_) : length;
    const int64_t to = base + offset;
    if (to < 0 || to > length)
        return -1;
    d.readAt_ = uint64_t(to);
    return static_cast<off_t>(to);
}

} // namespace wm::bundled
