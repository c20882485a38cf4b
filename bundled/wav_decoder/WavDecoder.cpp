#include "bundled/wav_decoder/WavDecoder.h"

#include "bundled/wav/RiffChunks.h"
#include "bundled/wav/WaveFormatRules.h"
#include "bundled/wav/WaveTagFile.h"
#include "bundled/wav_decoder/FileByteSource.h"
#include "bundled/wav_decoder/WavTagWriter.h"

#include <algorithm>
#include <new>
#include <string>
#include <string_view>

namespace wm::bundled {

namespace {

// Blocks of two seconds: each block costs the host's loop a fixed amount, and PCM needs no work,
// so a block still passes in well under a millisecond. The cap bounds memory for wide high-rate
// formats.
constexpr size_t kMaxBlockBytes = 1024 * 1024;

constexpr codec::DecodedType kTypes[] = {{u".wav", u"Wave Audio"}, {u".wave", u"Wave Audio"}};

// Another plug-in's reason, which it may not have given.
String OrFailed(const char16_t* why) {
    return why ? why : u"failed";
}

size_t BlockBytes(const WmWaveFormat& f) {
    const size_t frame = f.blockAlign;
    const size_t bytes = std::min<size_t>(uint64_t{f.avgBytesPerSec} * 2, kMaxBlockBytes);
    return std::max(frame, bytes - bytes % frame);
}

// "10.0 s" for a length of data bytes.
String Seconds(uint64_t bytes, const WmWaveFormat& f) {
    const uint64_t tenths = wav::BytesToMs(bytes, f.avgBytesPerSec) / 100;
    return Widen(std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s");
}

// Why the audio read is not what the header says, for the information line.
String DataSizeNote(const wav::WaveLayout& layout) {
    using DataSize = wav::WaveLayout::DataSize;
    const String held = Seconds(layout.dataLength, layout.format);
    if (layout.dataSize == DataSize::NeverWritten)
        return u"the WAV header's data size was never filled in (a writer stopped or streaming): "
               u"read the audio to the end of the file, " +
               held;
    return u"the WAV header promises " + Seconds(layout.statedDataLength, layout.format) +
           u" of audio where the file holds " + held + u": read to the end of the file";
}

} // namespace

WavDecoder::WavDecoder() : DecoderFrame(kTypes) {}

String WavDecoder::NoInput() const {
    return wav::WaveErrorString[wav::kWaveOpenFailed];
}

uint32_t WavDecoder::SetOwn(const WmChar* name, PluginValue* value) noexcept {
    if (!codec::Is(name, WM_VALUE_ID_TAGS) || !value || !value->pointer1 ||
        (!value->pointer4 && value->value2 != 0))
        return 0;
    wav::WaveError error;
    try {
        error = WriteTagBlock(static_cast<const char16_t*>(value->pointer1), value->pointer4,
                              value->value2);
    } catch (const std::bad_alloc&) {
        error = wav::kWaveOutOfMemory;
    }
    return error == wav::kWaveOk ? 1 : error_.Fail(error);
}

bool WavDecoder::OpenStream(DecodeOpenInfo& info) {
    wav::WaveError error;
    try {
        error = OpenFile(info);
    } catch (const std::bad_alloc&) {
        error = wav::kWaveOutOfMemory;
    }
    if (error == wav::kWaveOk)
        return true;
    if ((error == wav::kWaveUnsupportedFormatTag || error == wav::kWaveUnsupportedSubFormat) &&
        OpenCompressed(info))
        return true;
    return error_.Failed(error, &layout_.format);
}

wav::WaveError WavDecoder::OpenFile(DecodeOpenInfo& info) {
    information_.Clear();
    if (std::u16string_view(info.path) == u"-" || !file_.OpenForReading(info.path))
        return wav::kWaveOpenFailed;
    FileByteSource source(file_);
    wav::WaveError error = wav::kWaveOk;
    if (!wav::ParseWaveHeader(source, layout_, error))
        return error;
    if (layout_.dataSize != wav::WaveLayout::DataSize::AsStated)
        information_.Add(DataSizeNote(layout_));
    bufferSize_ = BlockBytes(layout_.format);
    buffer_.reset(new (std::nothrow) uint8_t[bufferSize_]);
    if (!buffer_)
        return wav::kWaveOutOfMemory;
    const WmWaveFormat& f = layout_.format;
    info.format = f;
    info.bitRate = codec::BitRate(f);
    info.byteLength = layout_.dataLength;
    info.msLength = wav::BytesToMs(layout_.dataLength, f.avgBytesPerSec);
    HandOutFileTags(source, info);
    return wav::kWaveOk;
}

bool WavDecoder::OpenCompressed(DecodeOpenInfo& info) {
    try {
        if (!compressed_.Open(info))
            return false;
        FileByteSource source(file_);
        HandOutFileTags(source, info);
    } catch (const std::bad_alloc&) {
        compressed_.Close();
        return false;
    }
    return true;
}

void WavDecoder::HandOutFileTags(wav::ByteSource& source, DecodeOpenInfo& info) {
    // Tags are a bonus: a file whose tag chunks are damaged still plays.
    try {
        wav::RiffFile riff;
        wav::WaveError error;
        wav::WaveTags tags;
        if (wav::WalkRiffChunks(source, riff, error))
            wav::ReadWaveTags(source, riff, tags);
        HandOutTags(tags, info);
    } catch (const std::bad_alloc&) {
        ReleaseTags();
        HandOutTags({}, info);
    }
}

uint32_t WavDecoder::Close() noexcept {
    compressed_.Close();
    buffer_.reset();
    bufferSize_ = 0;
    delivered_ = 0;
    layout_ = wav::WaveLayout{};
    ReleaseTags();
    return file_.Close() ? 1 : 0;
}

uint32_t WavDecoder::DecodeBlock(AudioBlockInfo* block) noexcept {
    if (compressed_.IsOpen())
        return compressed_.DecodeBlock(block) ? 1 : error_.Fail(OrFailed(compressed_.LastError()));
    if (!block || !buffer_)
        return error_.Fail(wav::kWaveNotOpen);
    const uint64_t remaining = layout_.dataLength - delivered_;
    const size_t n = static_cast<size_t>(std::min<uint64_t>(remaining, bufferSize_));
    if (n != 0 && file_.ReadAt(layout_.dataOffset + delivered_, buffer_.get(), n) != n)
        return error_.Fail(wav::kWaveReadFailed);
    // The end travels in an empty block of its own, positioned at the very end, so that the
    // host's progress reaches 100 %.
    return codec::HandOutBlock(*block, buffer_.get(), n, layout_.format, delivered_, n == 0);
}

// Rounded down to a whole frame.
uint32_t WavDecoder::SetPosition(uint64_t ms) noexcept {
    if (compressed_.IsOpen())
        return compressed_.SetPosition(ms);
    if (!buffer_)
        return error_.Fail(wav::kWaveNotOpen);
    const WmWaveFormat& f = layout_.format;
    uint64_t bytes = wav::MsToBytes(ms, f.avgBytesPerSec, f.blockAlign);
    delivered_ = std::min(bytes, layout_.dataLength);
    return 1;
}

} // namespace wm::bundled
