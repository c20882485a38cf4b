// What the parent program sees of a run besides its output: the quit and after-conversion-error
// events it sets, the heartbeat event, and the shared block receiving the bytes encoded. Owned
// by the process entry beside the run; the members are declared so that they are released in
// the order the parent expects: the heartbeat stops, then the shared block, the watchdog event,
// the after-conversion-error event and the quit event close.
#pragma once

#include "converter/RunOptions.h"
#include "process/EventHandle.h"
#include "process/SharedMemoryBlock.h"
#include "process/WorkerThread.h"

#include <cstdint>

namespace wm {

class ParentChannels {
  public:
    // Opens what the options name; an absent option leaves its channel closed.
    void Open(const RunOptions& options);
    // Sets the watchdog event every 50 ms until the channels are released.
    void StartHeartbeat();
    void Heartbeat() { watchdogEvent_.Set(); }

    bool QuitSet() const { return quitEvent_.IsSet(); }
    bool AfterConversionErrorSet() const { return afterConvErrorEvent_.IsSet(); }
    // Waits that must end early when the parent asks the run to stop take this event.
    const EventHandle& QuitEvent() const { return quitEvent_; }
    void StoreBytesEncoded(uint64_t total);

  private:
    EventHandle quitEvent_, afterConvErrorEvent_, watchdogEvent_;
    SharedMemoryBlock bytesEncodedBlock_;
    WorkerThread heartbeat_;
};

} // namespace wm
