// Every plug-in call is made inside a CallGuard, which names it: a crash inside it, or a call
// that does not return within the time limit, is reported as that call's, and ends the check.
#pragma once

#include "tools/plugin-check/Report.h"

#include <cstdint>

namespace wm::check {

class CallGuard {
  public:
    explicit CallGuard(const char* call);
    ~CallGuard();
    CallGuard(const CallGuard&) = delete;
    CallGuard& operator=(const CallGuard&) = delete;

  private:
    const char* previous_;
    uint64_t previousStart_;
};

// A plug-in call that has not returned after this long is taken as one that never will.
constexpr uint32_t kDefaultCallLimitSeconds = 30;

// From here on a crash inside a plug-in call, a crash later from memory a call damaged, and a
// call that outlasts `callLimitSeconds` are reported and end the process with status 1.
void WatchCalls(Report& report, uint32_t callLimitSeconds);

// A pointer the plug-in may keep but never dereference: reading it crashes.
void* HostContext();

} // namespace wm::check
