// The last stage of a render: appends each block to the rendered file and keeps the format the
// last block came in, which an effect applied to the file may have changed.
#pragma once

#include "files/FileAccess.h"
#include "flow/BlockFlow.h"
#include "sdk/wavemill_plugin.h"
#include "text/String.h"

#include <functional>

namespace wm {

class FileSinkStage : public BlockStage {
  public:
    // `failure` gives the error line for a write that failed (with the system's reason).
    FileSinkStage(FileAccess& file, const WmWaveFormat& format, std::function<String()> failure)
        : file_(file), last_(format), failure_(std::move(failure)) {}
    bool Pass(AudioBlockInfo& block) override;
    const WmWaveFormat& LastFormat() const { return last_; }

  private:
    FileAccess& file_;
    WmWaveFormat last_;
    std::function<String()> failure_;
};

} // namespace wm
