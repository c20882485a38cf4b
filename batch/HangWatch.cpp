#include "batch/HangWatch.h"

#include "text/NumberText.h"

namespace wm {

void HangWatch::Progress(uint64_t nowMs, int percent, int64_t bytes) {
    if (percent != percent_ || bytes != bytes_)
        lastMoveMs_ = nowMs;
    percent_ = percent;
    bytes_ = bytes;
}

String HangWatch::HungReason(uint64_t nowMs) const {
    const String seconds = IntToText(static_cast<int64_t>(limitMs_ / 1000)) + u" s";
    if (nowMs - lastBeatMs_ > limitMs_)
        return u"no heartbeat for " + seconds;
    if (nowMs - lastMoveMs_ > limitMs_)
        return u"no progress for " + seconds;
    return {};
}

} // namespace wm
