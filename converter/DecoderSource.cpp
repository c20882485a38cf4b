#include "converter/AudioSources.h"
#include "files/FileOps.h"
#include "plugins/PluginReason.h"
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
    if (reason.empty())
        reason = decoder_.LastError();
    LogError(WithReason(u"Error: Unable to open '" + inputFile_ + u"' for decoding.", reason),
             "TwWavemill::OpenDecoder");
    return false;
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
