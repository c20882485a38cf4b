#include "bundled/wav_encoder/WavEncoder.h"

#include "bundled/wav/WaveFormatRules.h"
#include "bundled/wav/WaveTagFile.h"
#include "contract/EncoderOptions.h"

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

// "<lead><name>: <why>", the name cut short should a command line hold a long one.
String OptionReason(const char16_t* lead, std::u16string_view name, const char16_t* why) {
    return lead + String(name.substr(0, 24)) + u": " + why;
}

} // namespace

// Wave output has no help text and nothing to configure; its tags have no place for ReplayGain.
WavEncoder::WavEncoder()
    : codec::EncoderFrame(u".wav", nullptr, codec::Fidelity::Lossless, false) {}

String WavEncoder::Refusal(Refused why) const {
    switch (why) {
    case Refused::NoConversion:
        return wav::WaveErrorString[wav::kWaveNoConversion];
    case Refused::NotBegun:
        return wav::WaveErrorString[wav::kWaveNotOpen];
    case Refused::FormatChanged:
        break;
    }
    return wav::WaveErrorString[wav::kWaveFormatChanged];
}

bool WavEncoder::Start(const ConversionInfo& conversion) {
    if (const std::u16string_view option = UnknownOption(conversion.commandLine); !option.empty())
        return error_.Failed(ClassifyHostOption(option) == HostOption::Effect
                                 ? OptionReason(u"-", option, kEffectOptionReason)
                                 : OptionReason(u"unknown option -", option,
                                                u"the Wave encoder has no options of its own"));
    wav::WaveError error = wav::kWaveOk;
    if (!writer_.Init(*conversion.sourceFormat, error))
        return error_.Failed(error, conversion.sourceFormat);
    format_ = writer_.Format();
    if (!buffer_)
        buffer_.reset(new (std::nothrow) uint8_t[kBufferSize]);
    if (!buffer_)
        return error_.Failed(wav::kWaveOutOfMemory);
    tagChunks_ = wav::BuildTagChunks(SourceTags(conversion));
    if (!file_.CreateForWriting(conversion.outputPath))
        return error_.Failed(wav::WriteError(GetLastError(), wav::kWaveCreateFailed));
    const std::vector<uint8_t> header = writer_.Build(0);
    std::memcpy(buffer_.get(), header.data(), header.size());
    used_ = header.size();
    return true;
}

bool WavEncoder::EncodeFrames(const uint8_t* data, size_t frames) {
    return EncodeBytes(data, frames * format_.blockAlign);
}

// The bytes go out as they come: a frame split across two blocks is whole again in the file.
bool WavEncoder::EncodeBytes(const uint8_t* data, size_t length) {
    if (failed_)
        return false; // the first failure's reason stands
    if (!Append(data, length))
        return FailWrite(wav::kWaveWriteFailed);
    dataBytes_ += length;
    return true;
}

bool WavEncoder::FailWrite(wav::WaveError otherwise) {
    failed_ = true;
    return error_.Failed(wav::WriteError(GetLastError(), otherwise));
}

uint32_t WavEncoder::End() noexcept {
    if (!begun_)
        return error_.Fail(wav::kWaveNotOpen);
    if (!failed_ && !Finish())
        FailWrite(wav::kWaveWriteFailed);
    // The close can be the first to hear that the disk is full.
    if (!file_.Close() && !failed_)
        FailWrite(wav::kWaveWriteFailed);
    const bool ok = !failed_;
    Reset();
    return ok ? 1 : 0;
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

void WavEncoder::Reset() {
    file_.Close();
    tagChunks_.clear();
    used_ = 0;
    dataBytes_ = 0;
    begun_ = false;
    failed_ = false;
}

} // namespace wm::bundled
