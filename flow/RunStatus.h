// Why a run failed, in one place. Every failing step, the console relay (an error line was
// logged) and the parent's events go through Fail(); the exit status is read from here.
#pragma once

#include <atomic>
#include <cstdint>

namespace wm {

class RunStatus {
  public:
    // Marks the run failed; the first reason is kept for the debug log.
    void Fail(const char* why);
    // An error line reached the user: the failure has been said.
    void FailSaid();
    bool Failed() const { return failed_.load() != 0; }
    // Failed with no error line yet: the run must still say why before it ends.
    bool FailedUnsaid() const { return Failed() && said_.load() == 0; }
    const char* FirstReason() const { return firstReason_.load(); }

    int ExitStatus() const { return Failed() ? 1 : 0; }

  private:
    std::atomic<int32_t> failed_{0};
    std::atomic<int32_t> said_{0};
    std::atomic<const char*> firstReason_{nullptr};
};

} // namespace wm
