#include "converter/AudioSources.h"
#include "plugins/PluginReason.h"
#include "process/Log.h"

namespace wm {

bool DecoderSource::Open(DecodeOpenInfo& info) {
    if (decoder_.Open(&info))
        return true;
    LogError(WithReason(u"Error: Unable to open '" + inputFile_ + u"' for decoding.",
                        decoder_.LastError()),
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
    LogLine(u"->->", "TwWavemill::CloseDecoder");
    return decoder_.Close(&conversion) != 0;
}

} // namespace wm
