#include "converter/AudioSources.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/PathText.h"
#include "plugins/ContentKind.h"
#include "plugins/PluginReason.h"
#include "plugins/clTwCodecHandler.h"
#include "process/Log.h"

namespace wm {

namespace {

// What the file system says about the input, when that alone explains the failure.
String InputProblem(const String& inputFile) {
    bool missing = false;
    const DWORD attributes = PathAttributes(inputFile, &missing);
    if (missing)
        return u"the file does not exist";
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return u"it is a folder, not a file";
    return {};
}

} // namespace

bool DecoderSource::Open(DecodeOpenInfo& info) {
    if (decoder_.Open(&info))
        return true;
    String reason = InputProblem(inputFile_);
    if (reason.empty()) {
        reason = decoder_.LastError();
        if (contentFallback_ && OpenByContent(info))
            return true;
    }
    LogError(WithReason(u"Error: Unable to open '" + inputFile_ + u"' for decoding.", reason),
             "TwWavemill::OpenDecoder");
    return false;
}

// A file whose extension lies (an AAC file named .mp3) is read by whichever decoder opens it.
// Only a file whose first bytes say it is another kind is offered: a damaged file or one of an
// unknown kind keeps the refusal of the decoder its extension chose.
bool DecoderSource::OpenByContent(DecodeOpenInfo& info) {
    const std::vector<uint8_t> first = FirstBytes();
    const FileKind kind = ContentKind(first.data(), first.size());
    if (!kind.Known() || kind.Fits(ExtensionOf(inputFile_)))
        return false;
    const String chosen = FileNamePart(decoder_.LibraryPath());
    if (!clTwCodecHandler().OpenByContent(decoder_, info, LogHostContext(), programFolder_))
        return false;
    LogInfo(u"Information: '" + inputFile_ + u"' is " + kind.name + u": " + chosen +
                u" could not read it, " + FileNamePart(decoder_.LibraryPath()) + u" does.",
            "TwWavemill::OpenDecoder");
    return true;
}

std::vector<uint8_t> DecoderSource::FirstBytes() const {
    std::vector<uint8_t> bytes(kContentProbeBytes);
    FileAccess file;
    bytes.resize(file.OpenRead(inputFile_)
                     ? file.Read(bytes.data(), static_cast<uint32_t>(bytes.size()))
                     : 0);
    return bytes;
}

bool DecoderSource::NextBlock(AudioBlockInfo& block) {
    if (decoder_.DecodeBlock(&block))
        return true;
    LogError(WithReason(u"Error: Decoding '" + inputFile_ + u"' failed.", decoder_.LastError()),
             "TwWavemill::DecodeAudioBlock");
    return false;
}

bool DecoderSource::Close(ConversionInfo& conversion) {
    LogScope scope("TwWavemill::CloseDecoder");
    return decoder_.Close(&conversion) != 0;
}

} // namespace wm
