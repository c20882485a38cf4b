// When a converter counts as hung: its heartbeat has been silent, or its percent and its bytes
// encoded have stood still, for the limit. A plug-in can stall with the heartbeat still beating
// (the converter's heartbeat thread runs beside the stuck one), so both are watched. Portable.
#pragma once

#include <cstdint>

namespace wm {

enum class HangKind { kNone, kHeartbeat, kProgress };

class HangWatch {
  public:
    HangWatch(uint64_t startMs, uint64_t limitMs)
        : limitMs_(limitMs), lastBeatMs_(startMs), lastMoveMs_(startMs) {}

    void Beat(uint64_t nowMs) { lastBeatMs_ = nowMs; }
    // Any change of percent or bytes counts as movement.
    void Progress(uint64_t nowMs, int percent, int64_t bytes);
    // kNone while the converter is alive; else what stood still longer than the limit (a
    // silent heartbeat first).
    HangKind Hung(uint64_t nowMs) const;

  private:
    uint64_t limitMs_;
    uint64_t lastBeatMs_;
    uint64_t lastMoveMs_;
    int percent_ = -1;
    int64_t bytes_ = -1;
};

} // namespace wm
