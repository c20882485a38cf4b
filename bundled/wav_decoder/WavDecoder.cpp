#include "bundled/wav_decoder/WavDecoder.h"

#include "bundled/wav/RiffChunks.h"
#include "bundled/wav/TagSetBridge.h"
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

const char16_t* const kExtensions[] = {u".wav", u".wave"};
const char16_t* const kDescription = u"Wave Audio";

bool Is(const WmChar* name, std::u16string_view wanted) {
    return name && name == wanted;
}

size_t BlockBytes(const WmWaveFormat& f) {
    const size_t frame = f.blockAlign;
    const size_t bytes = std::min<size_t>(uint64_t{f.avgBytesPerSec} * 2, kMaxBlockBytes);
    return std::max(frame, bytes - bytes % frame);
}

uint32_t BitRate(const WmWaveFormat& f) {
    return static_cast<uint32_t>(std::min<uint64_t>(uint64_t{f.avgBytesPerSec} * 8, UINT32_MAX));
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

uint32_t WavDecoder::Get(const WmChar* name, PluginValue* value) noexcept {
    if (Is(name, WM_VALUE_LAST_ERROR))
        return lastError_.Answer(value);
    if (uint32_t result = 0; information_.Answer(name, value, result))
        return result;
    if (!value || !Is(name, WM_VALUE_DECODES) || value->value1 >= std::size(kExtensions))
        return 0;
    value->pointer1 = const_cast<char16_t*>(kExtensions[value->value1]);
    value->pointer2 = const_cast<char16_t*>(kDescription);
    return 1;
}

uint32_t WavDecoder::Set(const WmChar* name, PluginValue* value) noexcept {
    // The batch number means nothing to a file reader, but it is a value the host may send.
    if (Is(name, WM_VALUE_BATCH_ID))
        return 1;
    if (!Is(name, WM_VALUE_ID_TAGS) || !value || !value->pointer1 ||
        (!value->pointer4 && value->value2 != 0))
        return 0;
    wav::WaveError error;
    try {
        error = WriteTagBlock(static_cast<const char16_t*>(value->pointer1), value->pointer4,
                              value->value2);
    } catch (const std::bad_alloc&) {
        error = wav::kWaveOutOfMemory;
    }
    return error == wav::kWaveOk ? 1 : lastError_.Fail(error);
}

uint32_t WavDecoder::Open(DecodeOpenInfo* info) noexcept {
    Close();
    if (!info || !info->path)
        return lastError_.Fail(wav::kWaveOpenFailed);
    wav::WaveError error;
    try {
        error = OpenFile(*info);
    } catch (const std::bad_alloc&) {
        error = wav::kWaveOutOfMemory;
    }
    if (error == wav::kWaveOk)
        return 1;
    if ((error == wav::kWaveUnsupportedFormatTag || error == wav::kWaveUnsupportedSubFormat) &&
        OpenCompressed(*info))
        return 1;
    lastError_.Fail(error, &layout_.format);
    Close();
    return 0;
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
    info.bitRate = BitRate(f);
    info.byteLength = layout_.dataLength;
    info.msLength = wav::BytesToMs(layout_.dataLength, f.avgBytesPerSec);
    ReadTags(source);
    info.tagData = tagBlock_.empty() ? nullptr : tagBlock_.data();
    info.tagSize = static_cast<uint32_t>(tagBlock_.size());
    return wav::kWaveOk;
}

bool WavDecoder::OpenCompressed(DecodeOpenInfo& info) {
    try {
        if (!compressed_.Open(info))
            return false;
        FileByteSource source(file_);
        ReadTags(source);
    } catch (const std::bad_alloc&) {
        compressed_.Close();
        return false;
    }
    info.tagData = tagBlock_.empty() ? nullptr : tagBlock_.data();
    info.tagSize = static_cast<uint32_t>(tagBlock_.size());
    return true;
}

void WavDecoder::ReadTags(wav::ByteSource& source) {
    // Tags are a bonus: a file whose tag chunks are damaged still plays.
    try {
        wav::RiffFile riff;
        wav::WaveError error;
        wav::WaveTags tags;
        if (!wav::WalkRiffChunks(source, riff, error))
            return;
        wav::ReadWaveTags(source, riff, tags);
        if (tags.Empty())
            return;
        IDTagSet set;
        wav::ToTagSet(tags, set);
        std::vector<uint8_t> block = set.Serialize();
        if (block.size() <= UINT32_MAX)
            tagBlock_ = std::move(block);
    } catch (const std::bad_alloc&) {
        tagBlock_.clear();
    }
}

uint32_t WavDecoder::Close() noexcept {
    compressed_.Close();
    buffer_.reset();
    bufferSize_ = 0;
    delivered_ = 0;
    layout_ = wav::WaveLayout{};
    std::vector<uint8_t>().swap(tagBlock_);
    return file_.Close() ? 1 : 0;
}

uint32_t WavDecoder::DecodeBlock(AudioBlockInfo* block) noexcept {
    if (compressed_.IsOpen())
        return compressed_.DecodeBlock(block) ? 1 : lastError_.FailText(compressed_.LastError());
    if (!block || !buffer_)
        return lastError_.Fail(wav::kWaveNotOpen);
    const uint64_t remaining = layout_.dataLength - delivered_;
    const size_t n = static_cast<size_t>(std::min<uint64_t>(remaining, bufferSize_));
    if (n != 0 && file_.ReadAt(layout_.dataOffset + delivered_, buffer_.get(), n) != n)
        return lastError_.Fail(wav::kWaveReadFailed);
    const WmWaveFormat& f = layout_.format;
    block->data = buffer_.get();
    block->length = static_cast<uint32_t>(n);
    block->format = f;
    block->bitRate = BitRate(f);
    block->msDuration = wav::BytesToMs(n, f.avgBytesPerSec);
    block->msPosition = wav::BytesToMs(delivered_, f.avgBytesPerSec);
    delivered_ += n;
    // The end travels in an empty block of its own, positioned at the very end, so that the
    // host's progress reaches 100 %.
    block->endOfStream = n == 0 ? 1 : 0;
    return 1;
}

uint32_t WavDecoder::SetPosition(uint64_t ms) noexcept {
    if (compressed_.IsOpen())
        return compressed_.SetPosition(ms);
    if (!buffer_)
        return lastError_.Fail(wav::kWaveNotOpen);
    const WmWaveFormat& f = layout_.format;
    uint64_t bytes = wav::MsToBytes(ms, f.avgBytesPerSec, f.blockAlign);
    delivered_ = std::min(bytes, layout_.dataLength);
    return 1;
}

} // namespace wm::bundled
