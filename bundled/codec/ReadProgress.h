// What ends a decoder's read loop that its library keeps calling: every call must take in new
// input or hand out samples; a run of calls that do neither means the library is stuck (on data
// it neither decodes nor skips), and the loop stops with a reason instead of spinning.
#pragma once

#include <cstdint>

namespace wm::codec {

class ReadProgress {
  public:
    // Calls in a row without progress that a library may make before it counts as stuck: it
    // can scan its own buffer a few times before it asks for more.
    static constexpr unsigned kIdleLimit = 1000;

    // After a call: `inputAt` is the furthest byte read so far, `output` what was decoded so far.
    // False once the calls have been idle kIdleLimit times in a row.
    bool Moved(uint64_t inputAt, uint64_t output) {
        if (inputAt > inputAt_ || output != output_) {
            inputAt_ = inputAt > inputAt_ ? inputAt : inputAt_;
            output_ = output;
            idle_ = 0;
            return true;
        }
        return ++idle_ < kIdleLimit;
    }
    // After a seek, positions start afresh.
    void Reset() { *this = ReadProgress{}; }

  private:
    uint64_t inputAt_ = 0;
    uint64_t output_ = 0;
    unsigned idle_ = 0;
};

} // namespace wm::codec
