#include "converter/FileSinkStage.h"

#include "process/Log.h"

namespace wm {

bool FileSinkStage::Pass(AudioBlockInfo& block) {
    if (block.length && !file_.Write(block.data, block.length)) {
        LogError(failure_(), "DspRender::Run"); // the render's line
        return false;
    }
    last_ = block.format;
    return true;
}

} // namespace wm
