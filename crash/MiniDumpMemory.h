// What a crash dump adds beyond the defaults: memory around what the registers and the top of
// the stack point at, so that the objects the faulting code worked on can be read afterwards.
#pragma once

#include <windows.h>

#include <cstdint>

namespace wm {

struct MemoryRange {
    uint64_t base = 0;
    uint32_t size = 0;
};

// Reads one 8-byte word; false when the address is not readable. Tests substitute their own.
using ReadWordFn = bool (*)(uint64_t address, uint64_t* word);
bool ReadOwnWord(uint64_t address, uint64_t* word);

// Walks the ranges to add one call at a time: first the sixteen general registers, then the
// words of the 1 KiB above the stack pointer (in 4-byte steps over 8-byte words) that point to
// readable memory. Each range is 1 KiB starting 512 bytes below the address.
class MemoryScan {
  public:
    static constexpr uint32_t kRangeSize = 1024;
    static constexpr uint32_t kStackScanStart = 4096;
    static constexpr uint32_t kStackScanEnd = kStackScanStart + 1024;

    MemoryScan(const CONTEXT& context, ReadWordFn read = &ReadOwnWord)
        : context_(context), read_(read) {}

    // False when nothing more is to be added.
    bool Next(MemoryRange* range);

  private:
    static MemoryRange RangeAround(uint64_t address);
    uint64_t Register(uint32_t index) const;

    const CONTEXT& context_;
    ReadWordFn read_;
    uint32_t counter_ = 0;
};

} // namespace wm
