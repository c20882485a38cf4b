// Where the run's audio comes from: the decoder plug-in, or raw PCM on standard input.
#include "converter/Log.h"
#include "converter/TwWavemill.h"
#include "files/FileAccess.h"
#include "text/NumberText.h"

#include <windows.h>

#include <cstring>

namespace wm {

namespace {
constexpr const char* kOpenContext = "TwWavemill::OpenDecoder";
// Upper bound for one standard-input block: keeps memory flat whatever the pipe holds.
constexpr size_t kStdInChunk = 1 << 20;
} // namespace

void TwWavemill::ApplyDecodeOptions() {
    if (stdInput_)
        return;
    PluginValue pv{};
    pv.pointer1 = encoderCommandLine_.data();
    if (encoder_.Get(WM_VALUE_NEED_HQ_AUDIO, &pv)) {
        static char16_t kHighest[] = u"Highest Quality";
        PluginValue set{};
        set.pointer1 = kHighest;
        decoder_.Set(WM_VALUE_DECODE_AS, &set);
    }
}

bool TwWavemill::OpenDecoder(uint32_t openMode) {
    std::memset(reinterpret_cast<char*>(&openInfo_) + 12, 0, sizeof(openInfo_) - 12);
    openInfo_.path = inputFile_.c_str();
    openInfo_.openMode = openMode;
    if (stdInput_)
        return OpenStdInput();
    if (decoder_.Open(&openInfo_))
        return true;
    LogError(u"Error: Unable to open '" + inputFile_ + u"' for decoding.", kOpenContext);
    return false;
}

bool TwWavemill::OpenStdInput() {
    LogScope scope(kOpenContext);
    stdIn_ = GetStdHandle(STD_INPUT_HANDLE);
    if (stdIn_ == INVALID_HANDLE_VALUE || stdIn_ == nullptr) {
        LogError(u"Error: Cannot open StdInput for audio reading.", kOpenContext);
        g_errorFlag = 1;
        return false;
    }
    String freq = options_.Value(u"sourcefreq");
    if (freq.empty()) {
        LogError(u"Error: RIFF WAVE StdInput not supported yet.", kOpenContext);
        g_errorFlag = 1;
        return false;
    }
    auto number = [&](const char16_t* name) {
        String v = options_.Value(name);
        return v.empty() ? 0 : TextToInt(v);
    };
    int64_t channels = number(u"sourcechannels");
    int64_t bits = number(u"sourcebits");
    int64_t rate = TextToInt(freq);
    if (channels <= 0 || channels > 65535 || bits <= 0 || bits > 64 || bits % 8 || rate <= 0 ||
        rate > 0x7FFFFFFF) {
        LogError(u"Error: Standard input needs -sourcefreq, -sourcechannels and -sourcebits "
                 u"describing whole bytes per sample.",
                 kOpenContext);
        g_errorFlag = 1;
        return false;
    }
    stdInFormat_ = WaveFormat::Pcm(static_cast<uint16_t>(channels), static_cast<uint32_t>(rate),
                                   static_cast<uint16_t>(bits), options_.Present(u"sourceisfloat"));
    openInfo_.path = u"-";
    openInfo_.format = stdInFormat_.AsRecord();
    openInfo_.bitRate = static_cast<uint32_t>(bits * channels * rate);
    openInfo_.msLength = static_cast<uint64_t>(number(u"sourcelength"));
    openInfo_.byteLength = stdInFormat_.MsToBytes(openInfo_.msLength);

    String tagFile = options_.Value(u"idtags");
    if (!tagFile.empty()) {
        LogLine(u"Reading StdIn Tmp File IDTags: ", nullptr, false);
        FileAccess file;
        if (file.OpenRead(tagFile)) {
            bool failed = false;
            uint64_t size = file.Size(&failed);
            if (!failed && size > 0 && size < (1u << 31)) {
                stdInTags_.resize(static_cast<size_t>(size));
                if (file.Read(stdInTags_.data(), static_cast<uint32_t>(size), 0, &failed) == size) {
                    openInfo_.tagData = stdInTags_.data();
                    openInfo_.tagSize = static_cast<uint32_t>(size);
                } else {
                    stdInTags_.clear();
                }
            }
        }
        LogLine(u"Read");
    }

    DWORD type = GetFileType(stdIn_);
    stdInIsPipe_ = type == FILE_TYPE_PIPE;
    // A console or a regular file is not a stream from a parent: it ends at once.
    stdInEnded_ = !stdInIsPipe_;
    if (stdInIsPipe_) {
        DWORD waiting = 0;
        // Pipes that cannot be peeked (a Linux pipe under Wine) are read with blocking reads.
        stdInPeekWorks_ = PeekNamedPipe(stdIn_, nullptr, 0, nullptr, &waiting, nullptr) ||
                          GetLastError() != ERROR_NOT_SUPPORTED;
    }
    LogLine(u"Using StdInput WFX:" + stdInFormat_.Describe());
    return true;
}

bool TwWavemill::ReadStdInputBlock(AudioBlockInfo& block) {
    // Whole frames go out; a partial frame waits at the front of the buffer for its rest.
    size_t align = stdInFormat_.BlockAlign() ? stdInFormat_.BlockAlign() : 1;
    size_t carried = stdInBuffer_.size() % align;
    if (carried)
        std::memmove(stdInBuffer_.data(), stdInBuffer_.data() + stdInBuffer_.size() - carried,
                     carried);
    stdInBuffer_.resize(carried);
    while (!stdInEnded_ && stdInBuffer_.size() < kStdInChunk) {
        DWORD want = static_cast<DWORD>(kStdInChunk - stdInBuffer_.size());
        if (stdInPeekWorks_) {
            DWORD waiting = 0;
            if (!PeekNamedPipe(stdIn_, nullptr, 0, nullptr, &waiting, nullptr)) {
                stdInEnded_ = true;
                break;
            }
            if (waiting == 0)
                break;
            want = std::min(want, waiting);
        }
        size_t at = stdInBuffer_.size();
        stdInBuffer_.resize(at + want);
        DWORD got = 0;
        BOOL ok = ReadFile(stdIn_, stdInBuffer_.data() + at, want, &got, nullptr);
        stdInBuffer_.resize(at + got);
        if (!ok || got == 0) {
            stdInEnded_ = true;
            break;
        }
        if (!stdInPeekWorks_)
            break; // one blocking read per block keeps progress moving
    }
    size_t length = stdInBuffer_.size();
    size_t partial = length % align;
    // A trailing partial frame travels alone in the last block, so only it is dropped.
    bool end = stdInEnded_ && (partial == 0 || partial == length);
    if (!end)
        length -= partial;
    block.format = stdInFormat_.AsRecord();
    block.bitRate = stdInFormat_.AvgBytesPerSec() * 8;
    if (length) {
        block.data = stdInBuffer_.data();
        block.length = static_cast<uint32_t>(length);
        block.msDuration = stdInFormat_.BytesToMs(length);
    }
    block.msPosition = stdInFormat_.BytesToMs(bytesEncoded_);
    block.endOfStream = end ? 1 : 0;
    return true;
}

bool TwWavemill::DecodeAudioBlock(AudioBlockInfo& block) {
    if (stdInput_)
        return ReadStdInputBlock(block);
    if (decoder_.DecodeBlock(&block))
        return true;
    LogError(u"Error: Decoding '" + inputFile_ + u"' failed.", "TwWavemill::DecodeAudioBlock");
    return false;
}

bool TwWavemill::CloseDecoder() {
    LogLine(u"->->", "TwWavemill::CloseDecoder");
    if (stdInput_) {
        LogLine(u"->->", "TwWavemill::CloseDecoder");
        if (stdIn_ != INVALID_HANDLE_VALUE && stdIn_)
            CloseHandle(stdIn_);
        stdIn_ = INVALID_HANDLE_VALUE;
        LogLine(u"<-<-", "TwWavemill::CloseDecoder");
        return true;
    }
    return decoder_.Close(&conversion_) != 0;
}

} // namespace wm
