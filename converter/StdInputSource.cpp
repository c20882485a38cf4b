// Raw PCM on standard input: a pipe carries no header, so options describe the format.
#include "contract/TagBlockRule.h"
#include "converter/AudioSources.h"
#include "process/Log.h"
#include "protocol/ConverterOptions.h"
#include "tags/IDTagSet.h"
#include "text/NumberText.h"

#include <algorithm>
#include <cstring>

namespace wm {

namespace {
constexpr const char* kOpenContext = "TwWavemill::OpenDecoder";
// Upper bound for one block: keeps memory flat whatever the pipe holds.
constexpr size_t kChunk = 1 << 20;
} // namespace

bool StdInputSource::Open(DecodeOpenInfo& info) {
    LogScope scope(kOpenContext);
    input_ = GetStdHandle(STD_INPUT_HANDLE);
    if (input_ == INVALID_HANDLE_VALUE || input_ == nullptr) {
        LogError(u"Error: Cannot open StdInput for audio reading.", kOpenContext);
        return false;
    }
    if (!ReadFormat(info))
        return false;
    if (!ReadTagFile(info))
        return false;
    DetectReading();
    LogLine(u"Using StdInput WFX:" + format_.Describe());
    return true;
}

bool StdInputSource::ReadFormat(DecodeOpenInfo& info) {
    if (options_.Value(option::kSourceFreq).empty()) {
        LogError(u"Error: RIFF WAVE StdInput not supported yet.", kOpenContext);
        return false;
    }
    auto number = [&](StringView name) {
        String v = options_.Value(name);
        return v.empty() ? 0 : TextToInt(v);
    };
    const int64_t channels = number(option::kSourceChannels), bits = number(option::kSourceBits);
    const int64_t rate = number(option::kSourceFreq);
    if (channels <= 0 || channels > 65535 || bits <= 0 || bits > 64 || bits % 8 || rate <= 0 ||
        rate > 0x7FFFFFFF) {
        LogError(u"Error: Standard input needs -sourcefreq, -sourcechannels and -sourcebits "
                 u"describing whole bytes per sample.",
                 kOpenContext);
        return false;
    }
    format_ =
        WaveFormat::Pcm(static_cast<uint16_t>(channels), static_cast<uint32_t>(rate),
                        static_cast<uint16_t>(bits), options_.Present(option::kSourceIsFloat));
    info.path = u"-";
    info.format = format_.AsRecord();
    info.bitRate = static_cast<uint32_t>(bits * channels * rate);
    info.msLength = static_cast<uint64_t>(number(option::kSourceLength));
    info.byteLength = format_.MsToBytes(info.msLength);
    return true;
}

bool StdInputSource::ReadTagFile(DecodeOpenInfo& info) {
    String tagFile = options_.Value(option::kIdTags);
    if (tagFile.empty())
        return true;
    LogLine(u"Reading StdIn Tmp File IDTags: ", nullptr, false);
    FileAccess file;
    bool failed = false;
    uint64_t size = file.OpenRead(tagFile) ? file.Size(&failed) : 0;
    if (!failed && size > 0 && size < (1u << 31)) {
        tags_.resize(static_cast<size_t>(size));
        if (file.Read(tags_.data(), static_cast<uint32_t>(size), 0, &failed) == size) {
            info.tagData = tags_.data();
            info.tagSize = static_cast<uint32_t>(size);
        } else {
            tags_.clear();
        }
    }
    LogLine(u"Read");
    // Anything else would reach the encoder as garbage tag names.
    if (!tags_.empty() && !TagBlockIsWellFormed(tags_.data(), tags_.size())) {
        LogError(u"Error: The -idtags file '" + tagFile + u"' does not hold a tag block.",
                 kOpenContext);
        return false;
    }
    return true;
}

void StdInputSource::DetectReading() {
    // A console or a regular file is not a stream from a parent: it ends at once.
    ended_ = GetFileType(input_) != FILE_TYPE_PIPE;
    if (ended_)
        return;
    DWORD waiting = 0;
    // Pipes that cannot be peeked (a Linux pipe under Wine) are read with blocking reads.
    peekWorks_ = PeekNamedPipe(input_, nullptr, 0, nullptr, &waiting, nullptr) ||
                 GetLastError() != ERROR_NOT_SUPPORTED;
}

void StdInputSource::ReadAvailable() {
    while (!ended_ && buffer_.size() < kChunk) {
        auto want = static_cast<DWORD>(kChunk - buffer_.size());
        if (peekWorks_) {
            DWORD waiting = 0;
            if (!PeekNamedPipe(input_, nullptr, 0, nullptr, &waiting, nullptr)) {
                ended_ = true;
                return;
            }
            if (waiting == 0)
                return;
            want = std::min(want, waiting);
        }
        const size_t at = buffer_.size();
        buffer_.resize(at + want);
        DWORD got = 0;
        const BOOL ok = ReadFile(input_, buffer_.data() + at, want, &got, nullptr);
        buffer_.resize(at + got);
        if (!ok || got == 0)
            ended_ = true;
        if (!peekWorks_)
            return; // one blocking read per block keeps progress moving
    }
}

bool StdInputSource::NextBlock(AudioBlockInfo& block) {
    // Whole frames go out; a partial frame waits at the front of the buffer for its rest.
    const size_t align = format_.BlockAlign() ? format_.BlockAlign() : 1;
    const size_t carried = buffer_.size() % align;
    if (carried)
        std::memmove(buffer_.data(), buffer_.data() + buffer_.size() - carried, carried);
    buffer_.resize(carried);
    ReadAvailable();
    size_t length = buffer_.size();
    const size_t partial = length % align;
    // A trailing partial frame travels alone in the last block, so only it is dropped.
    const bool end = ended_ && (partial == 0 || partial == length);
    if (!end)
        length -= partial;
    block.format = format_.AsRecord();
    block.bitRate = format_.AvgBytesPerSec() * 8;
    if (length) {
        block.data = buffer_.data();
        block.length = static_cast<uint32_t>(length);
        block.msDuration = format_.BytesToMs(length);
    }
    block.msPosition = format_.BytesToMs(delivered_);
    block.endOfStream = end ? 1 : 0;
    delivered_ += length;
    return true;
}

bool StdInputSource::Close(ConversionInfo&) {
    constexpr const char* kContext = "TwWavemill::CloseDecoder";
    // Required text (README, Glossary): the entry line twice, as the family's logs have it.
    LogLine(u"->->", kContext);
    LogLine(u"->->", kContext);
    CloseInput();
    LogLine(u"<-<-", kContext);
    return true;
}

void StdInputSource::CloseInput() {
    if (input_ != INVALID_HANDLE_VALUE && input_)
        CloseHandle(input_);
    input_ = INVALID_HANDLE_VALUE;
}

} // namespace wm
