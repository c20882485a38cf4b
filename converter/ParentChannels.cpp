#include "converter/ParentChannels.h"

#include "protocol/NamedObjects.h"

namespace wm {

void ParentChannels::Open(const RunOptions& options) {
    if (!options.quitEvent.empty())
        quitEvent_.CreateOrOpen(options.quitEvent);
    if (!options.afterConvErrorEvent.empty())
        afterConvErrorEvent_.CreateOrOpen(options.afterConvErrorEvent);
    if (!options.watchdogEvent.empty())
        watchdogEvent_.CreateOrOpen(options.watchdogEvent);
    if (!options.bytesEncodedBlock.empty())
        bytesEncodedBlock_.Open(options.bytesEncodedBlock, kBytesEncodedBlockSize);
}

void ParentChannels::StartHeartbeat() {
    heartbeat_.Start(
        [this](EventHandle& stop) {
            while (!stop.Wait(50))
                watchdogEvent_.Set();
        },
        false, 0);
}

void ParentChannels::StoreBytesEncoded(uint64_t total) {
    if (!bytesEncodedBlock_.IsOpen())
        return;
    auto value = static_cast<int64_t>(total);
    bytesEncodedBlock_.Write(&value);
}

} // namespace wm
