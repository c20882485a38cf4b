#include "bundled/wav_encoder/WavEncoder.h"

#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveFormatRules.h"
#include "bundled/wav/WaveTagFile.h"
#include "contract/EncoderOptions.h"
#include "tags/IDTagSet.h"

#include <cstring>
#include <new>
#include <string>
#include <string_view>

namespace wm::bundled {

namespace {

// Few, large writes; the header shares the first one. Blocks of this size or more go to the
// file as they are: copying them into the buffer first would only cost a pass over the audio.
constexpr size_t kBufferSize = 512 * 1024;
constexpr size_t kDirectWriteBytes = 32 * 1024;

bool Is(const WmChar* name, std::u16string_view wanted) {
    return name && name == wanted;
}

// The first option of the encoder command line (" -name" or " -name=\"value\"") that is not
// a harmless one of the converter's own; empty when there is none. Wave output has no options
// of its own.
std::u16string_view UnknownOption(const WmChar* commandLine) {
    const std::u16string_view line = commandLine ? commandLine : u"";
    for (size_t at = line.find(u" -"); at != line.npos; at = line.find(u" -", at + 2)) {
        const size_t start = at + 2;
        size_t end = start;
        while (end < line.size() && line[end] != u'=' && line[end] != u' ')
            ++end;
        const std::u16string_view name = line.substr(start, end - start);
        if (ClassifyHostOption(name) != HostOption::Harmless)
            return name;
        if (end < line.size() && line[end] == u'=' && end + 1 < line.size() &&
            line[end + 1] == u'"')
            at = line.find(u'"', end + 2); // skip the quoted value
        if (at == line.npos)
            break;
    }
    return {};
}

} // namespace

uint32_t WavEncoder::Get(const WmChar* name, PluginValue* value) noexcept {
    if (Is(name, WM_VALUE_LAST_ERROR))
        return lastError_.Answer(value);
    if (!value || !Is(name, WM_VALUE_EXTENSION))
        return 0;
    value->pointer1 = const_cast<char16_t*>(u".wav");
    return 1;
}

uint32_t WavEncoder::Set(const WmChar* name, PluginValue*) noexcept {
    return Is(name, WM_VALUE_BATCH_ID) ? 1 : 0;
}

uint32_t WavEncoder::Begin(const ConversionInfo* conversion) noexcept {
    Abandon();
    if (!conversion || !conversion->outputPath || !conversion->sourceFormat)
        return lastError_.Fail(wav::kWaveNoConversion);
    if (const std::u16string_view option = UnknownOption(conversion->commandLine); !option.empty())
        return ClassifyHostOption(option) == HostOption::Effect
                   ? lastError_.FailOption(u"-", option, kEffectOptionReason)
                   : lastError_.FailOption(u"unknown option -", option,
                                           u"the Wave encoder has no options of its own");
    wav::WaveError error = wav::kWaveOk;
    if (!writer_.Init(*conversion->sourceFormat, error))
        return lastError_.Fail(error, conversion->sourceFormat);
    if (!buffer_)
        buffer_.reset(new (std::nothrow) uint8_t[kBufferSize]);
    if (!buffer_)
        return lastError_.Fail(wav::kWaveOutOfMemory);
    if (!PrepareTags(*conversion))
        return lastError_.Fail(wav::kWaveOutOfMemory);
    if (!file_.CreateForWriting(conversion->outputPath))
        return lastError_.Fail(wav::WriteError(GetLastError(), wav::kWaveCreateFailed));
    output_ = conversion->outputPath;
    const size_t headerSize = writer_.HeaderSize();
    try {
        const std::vector<uint8_t> header = writer_.Build(0);
        std::memcpy(buffer_.get(), header.data(), headerSize);
    } catch (const std::bad_alloc&) {
        Abandon();
        return lastError_.Fail(wav::kWaveOutOfMemory);
    }
    used_ = headerSize;
    begun_ = true;
    return 1;
}

uint32_t WavEncoder::Encode(const AudioBlockInfo* block) noexcept {
    if (!begun_ || !block)
        return lastError_.Fail(wav::kWaveNotOpen);
    if (failed_)
        return 0; // the first failure's reason stands
    if (block->length == 0)
        return 1;
    WmWaveFormat format = block->format;
    wav::WaveError error = wav::kWaveOk;
    if (!block->data || !wav::NormaliseWaveFormat(format, error) ||
        !wav::SameSampleLayout(format, writer_.Format()))
        return lastError_.Fail(wav::kWaveFormatChanged);
    if (!Append(static_cast<const uint8_t*>(block->data), block->length))
        return FailWrite(wav::kWaveWriteFailed);
    dataBytes_ += block->length;
    return 1;
}

uint32_t WavEncoder::FailWrite(wav::WaveError otherwise) {
    failed_ = true;
    return lastError_.Fail(wav::WriteError(GetLastError(), otherwise));
}

uint32_t WavEncoder::End(const ConversionInfo* conversion, uint32_t* tagAfterwards) noexcept {
    if (tagAfterwards)
        *tagAfterwards = 0;
    if (!begun_)
        return lastError_.Fail(wav::kWaveNotOpen);
    if (!failed_ && !Finish())
        FailWrite(wav::kWaveWriteFailed);
    // The close can be the first to hear that the disk is full.
    if (!file_.Close() && !failed_)
        FailWrite(wav::kWaveWriteFailed);
    const bool ok = !failed_;
    Abandon();
    if (conversion && conversion->runError)
        DeletePath(output_.c_str());
    // The tags went in with the audio, so the host has nothing to write afterwards.
    return ok ? 1 : 0;
}

bool WavEncoder::PrepareTags(const ConversionInfo& conversion) {
    tagChunks_.clear();
    if (!conversion.tagData || conversion.tagSize == 0)
        return true;
    try {
        IDTagSet set;
        set.Deserialize(conversion.tagData, conversion.tagSize);
        tagChunks_ = wav::BuildTagChunks(wav::FromTagSet(set));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool WavEncoder::Finish() noexcept {
    static const uint8_t pad = 0;
    if ((dataBytes_ % 2 && !Append(&pad, 1)) ||
        (!tagChunks_.empty() && !Append(tagChunks_.data(), tagChunks_.size())) || !Flush())
        return false;
    try {
        const std::vector<uint8_t> header = writer_.Build(dataBytes_, tagChunks_.size());
        return file_.WriteAt(0, header.data(), header.size());
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool WavEncoder::Append(const uint8_t* data, size_t length) {
    const bool direct = length >= kDirectWriteBytes;
    if ((direct || used_ + length > kBufferSize) && !Flush())
        return false;
    if (direct || length >= kBufferSize)
        return file_.Write(data, length);
    std::memcpy(buffer_.get() + used_, data, length);
    used_ += length;
    return true;
}

bool WavEncoder::Flush() {
    const bool ok = used_ == 0 || file_.Write(buffer_.get(), used_);
    used_ = 0;
    return ok;
}

void WavEncoder::Abandon() {
    file_.Close();
    used_ = 0;
    dataBytes_ = 0;
    begun_ = false;
    failed_ = false;
}

} // namespace wm::bundled
