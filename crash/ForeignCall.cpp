#include "crash/ForeignCall.h"

#include <atomic>

namespace wm {

namespace {
// Atomic only so that the crash watcher thread reads a whole pointer.
std::atomic<const void*> g_entryPoint{nullptr};
} // namespace

const void* ForeignCallInProgress() {
    return g_entryPoint.load(std::memory_order_relaxed);
}

ScopedForeignCall::ScopedForeignCall(const void* entryPoint)
    : outer_(g_entryPoint.exchange(entryPoint, std::memory_order_relaxed)) {}

ScopedForeignCall::~ScopedForeignCall() {
    g_entryPoint.store(outer_, std::memory_order_relaxed);
}

} // namespace wm
