#include "flow/ProgressBar.h"

#include <algorithm>

namespace wm {

namespace {
constexpr uint32_t kColumns = 60;
} // namespace

void ProgressBar::BeginPass(uint32_t index, uint32_t count) {
    passes_ = std::max(count, 1u);
    pass_ = std::min(index, passes_ - 1);
    Percent(0);
}

void ProgressBar::Percent(uint32_t percent) {
    const uint64_t done = uint64_t{pass_} * 100 + std::min(percent, 100u);
    MarkTo(done * kColumns / (uint64_t{passes_} * 100));
}

void ProgressBar::Complete() {
    MarkTo(kColumns);
}

void ProgressBar::MarkTo(uint64_t marks) {
    if (marks <= marks_)
        return;
    host_.ProgressMarks(static_cast<uint32_t>(marks - marks_));
    marks_ = static_cast<uint32_t>(marks);
}

} // namespace wm
