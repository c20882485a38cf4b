#include "converter/EncoderStage.h"

#include "contract/BlockRules.h"
#include "plugins/PluginReason.h"
#include "process/Log.h"

namespace wm {

namespace {
// Its lines belong to the run, whose spine it was cut from.
constexpr const char* kRunContext = "TwWavemill::TwWavemill";
} // namespace

bool EncoderStage::Pass(AudioBlockInfo& block) {
    if (begin_) {
        if (IsEmptyBlock(block) && !block.endOfStream)
            return true; // nothing to describe the format by yet
        const bool begun = begin_(block.format);
        begin_ = nullptr;
        if (!begun)
            return false;
    }
    if (encoder_.EncodeBlock(&block))
        return true;
    LogError(WithReason(u"Error: Encoder '" + codec_ + u"' refused a block of audio.",
                        encoder_.LastError()),
             kRunContext);
    return false;
}

} // namespace wm
