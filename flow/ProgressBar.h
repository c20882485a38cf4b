// The console's 60-column progress bar, shared by the passes over the audio: decoding into the
// rendered file and each effect over it (when an effect is non-live), then the encoding. Each
// pass fills an equal share, so the bar moves while effects render; a finished run fills it.
// Portable: the marks go out through FlowHost.
#pragma once

#include "flow/BlockFlow.h"

#include <cstdint>

namespace wm {

class ProgressBar {
  public:
    explicit ProgressBar(FlowHost& host) : host_(host) {}
    // Pass `index` of `count` begins: the bar stands at least at the start of its share.
    void BeginPass(uint32_t index, uint32_t count);
    // How far the current pass is, 0 to 100.
    void Percent(uint32_t percent);
    // The whole run is done: the bar is filled.
    void Complete();

  private:
    void MarkTo(uint64_t marks);

    FlowHost& host_;
    uint32_t pass_ = 0, passes_ = 1, marks_ = 0;
};

} // namespace wm
