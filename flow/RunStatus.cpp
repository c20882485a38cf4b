#include "flow/RunStatus.h"

namespace wm {

void RunStatus::Fail(const char* why) {
    const char* none = nullptr;
    firstReason_.compare_exchange_strong(none, why);
    failed_.store(1);
}

void RunStatus::FailSaid() {
    Fail("an error line was logged");
    said_.store(1);
}

} // namespace wm
