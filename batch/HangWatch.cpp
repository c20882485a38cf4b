#include "batch/HangWatch.h"

namespace wm {

void HangWatch::Progress(uint64_t nowMs, int percent, int64_t bytes) {
    if (percent != percent_ || bytes != bytes_)
        lastMoveMs_ = nowMs;
    percent_ = percent;
    bytes_ = bytes;
}

HangKind HangWatch::Hung(uint64_t nowMs) const {
    if (nowMs - lastBeatMs_ > limitMs_)
        return HangKind::kHeartbeat;
    if (nowMs - lastMoveMs_ > limitMs_)
        return HangKind::kProgress;
    return HangKind::kNone;
}

} // namespace wm
