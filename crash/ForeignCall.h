// The plug-in entry point the run is inside, so that a crash can name the plug-in and the call.
// Plain process-wide state: plug-ins are called from the main thread only, and the crash filter
// only reads it, on that thread or on the watcher that reports a stack overflow for it.
#pragma once

namespace wm {

// The entry point's address while a call is under way; null between calls.
const void* ForeignCallInProgress();

// Marks a call for its lifetime; nested calls (a plug-in answered from inside another's call)
// restore the outer mark when they end.
class ScopedForeignCall {
  public:
    explicit ScopedForeignCall(const void* entryPoint);
    ~ScopedForeignCall();
    ScopedForeignCall(const ScopedForeignCall&) = delete;
    ScopedForeignCall& operator=(const ScopedForeignCall&) = delete;

  private:
    const void* outer_;
};

} // namespace wm
