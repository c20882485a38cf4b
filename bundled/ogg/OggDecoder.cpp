#include "bundled/ogg/OggDecoder.h"

#include "bundled/codec/ChannelOrder.h"
#include "bundled/codec/PcmConvert.h"
#include "bundled/ogg/OggPages.h"
#include "bundled/ogg/OggTagWriter.h"
#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveFormatRules.h"
#include "tags/IDTagSet.h"

#include <algorithm>
#include <new>
#include <string>

namespace wm::bundled {

namespace {

// Half a second a block keeps the host's loop responsive.
constexpr uint32_t kBlockMs = 500;
// The channel layouts a wave record names (the codecs allow up to 255 channels).
constexpr uint16_t kMaxChannels = 8;

String Decimal(uint64_t v) {
    return Widen(std::to_string(v));
}

} // namespace

uint32_t OggDecoder::SetOwn(const WmChar* name, PluginValue* value) noexcept {
    return AnswerTagWrite(name, value, [this](const char16_t* path, const wav::WaveTags& tags) {
        return WriteOggTags(path, tags, codec_);
    });
}

bool OggDecoder::OpenStream(DecodeOpenInfo& info) {
    const String codec = codec_ == codec::OggCodec::Opus ? u"Opus" : u"Vorbis";
    if (std::u16string_view(info.path) == u"-" || !input_.Open(info.path))
        return error_.Failed(u"the file cannot be opened");
    information_.Clear();
    const std::vector<String> kinds = OggStreamKinds(input_.File());
    if (std::find(kinds.begin(), kinds.end(), codec) == kinds.end())
        return OpenElsewhere(info, kinds) ||
               error_.Failed(NotOggOf(input_.File(), kinds, codec.c_str()));
    // The libraries read the first stream of their codec and pass over the others.
    for (const String& kind : kinds)
        if (kind != codec)
            information_.Add(u"the file's " + kind + u" stream was not read (only its " + codec +
                             u" audio is)");
    if (!OggEndsWhole(input_.File()))
        return error_.Failed(u"the file is cut short or its last page is damaged");
    String why;
    open_ = true;
    if (!Start(stream_, why))
        return error_.Failed(why);
    if (stream_.channels == 0 || stream_.channels > kMaxChannels)
        return error_.Fail(u"the stream has " + Decimal(stream_.channels) +
                           u" channels; 1 to 8 are supported"),
               false;
    format_ = codec::PcmFormat(stream_.channels, stream_.rate, 16);
    info.format = format_;
    info.byteLength = stream_.samples * format_.blockAlign;
    info.msLength = stream_.samples * 1000 / stream_.rate;
    info.bitRate = stream_.bitRate;
    wav::WaveTags tags;
    if (!ReadTags(tags))
        return false;
    HandOutTags(tags, info);
    pcm_.resize(size_t{stream_.rate} * kBlockMs / 1000 * stream_.channels);
    return true;
}

// FLAC in Ogg (an .oga file) is no stream the codec library reads: the FFmpeg decoder beside
// this one reads it, when it is installed.
bool OggDecoder::OpenElsewhere(DecodeOpenInfo& info, const std::vector<String>& kinds) {
    if (std::find(kinds.begin(), kinds.end(), u"FLAC") == kinds.end())
        return false;
    return other_.Open(info);
}

bool OggDecoder::ReadTags(wav::WaveTags& tags) {
    std::string why;
    if (!codec::ReadOggComments(stream_.comments, codec_, tags, why))
        return error_.Failed(Widen(why));
    return true;
}

uint32_t OggDecoder::Close() noexcept {
    other_.Close();
    if (open_)
        Stop();
    open_ = sought_ = finished_ = false;
    stream_ = Stream{};
    delivered_ = 0;
    std::vector<int16_t>().swap(pcm_);
    ReleaseTags();
    return input_.Close() ? 1 : 0;
}

uint32_t OggDecoder::DecodeBlock(AudioBlockInfo* block) noexcept {
    if (other_.IsOpen()) {
        const char16_t* why = nullptr;
        return other_.DecodeBlock(block)
                   ? 1
                   : error_.Fail((why = other_.LastError()) ? why : u"failed");
    }
    if (!block || !open_ || finished_ || pcm_.empty())
        return error_.Fail(u"the decoder is not open");
    const size_t before = delivered_;
    if (!Fill())
        return 0;
    const size_t frames = delivered_ - before;
    const size_t bytes = frames * format_.blockAlign;
    block->data = pcm_.data();
    block->length = static_cast<uint32_t>(bytes);
    block->format = format_;
    block->bitRate = format_.avgBytesPerSec * 8;
    block->msDuration = wav::BytesToMs(bytes, format_.avgBytesPerSec);
    block->msPosition = before * 1000 / stream_.rate;
    block->endOfStream = finished_ ? 1 : 0;
    return 1;
}

// Decodes up to a block; at the end of the stream (an empty block) checks that every sample
// came.
bool OggDecoder::Fill() {
    const size_t capacity = pcm_.size() / stream_.channels;
    size_t got = 0;
    while (got < capacity) {
        String why;
        const long n = Read(pcm_.data() + got * stream_.channels, capacity - got, why);
        if (n < 0)
            return error_.Failed(why + u" after " + At());
        // The end goes out on an empty block of its own: the host takes the progress from a
        // block's start.
        if (n == 0) {
            finished_ = got == 0;
            break;
        }
        got += static_cast<size_t>(n);
        delivered_ += static_cast<size_t>(n);
    }
    codec::VorbisToWaveOrder(pcm_.data(), got, stream_.channels);
    if (finished_ && !sought_ && delivered_ != stream_.samples)
        return error_.Failed(u"the stream ends early: " + Decimal(delivered_) + u" of " +
                             Decimal(stream_.samples) + u" samples decoded");
    return true;
}

String OggDecoder::At() const {
    return Decimal(delivered_ * 1000 / stream_.rate) + u" ms";
}

uint32_t OggDecoder::SetPosition(uint64_t ms) noexcept {
    if (other_.IsOpen())
        return other_.SetPosition(ms);
    if (!open_)
        return 0;
    uint64_t sample = ms * stream_.rate / 1000;
    if (stream_.samples != 0)
        sample = std::min<uint64_t>(sample, stream_.samples - 1);
    if (!Seek(sample))
        return error_.Fail(u"seeking failed");
    sought_ = true;
    finished_ = false;
    delivered_ = sample;
    return 1;
}

} // namespace wm::bundled
