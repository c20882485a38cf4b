#include "crash/MiniDumpMemory.h"

namespace wm {

namespace {
// Words below this are small numbers, not addresses (the first page is never mapped).
constexpr uint64_t kLowestAddress = 4096;
constexpr uint32_t kRegisterCount = 16;
} // namespace

bool ReadOwnWord(uint64_t address, uint64_t* word) {
    SIZE_T got = 0;
    // ReadProcessMemory fails instead of faulting: the crash handler must not crash again.
    return ::ReadProcessMemory(::GetCurrentProcess(), reinterpret_cast<const void*>(address), word,
                               sizeof *word, &got) &&
           got == sizeof *word;
}

MemoryRange MemoryScan::RangeAround(uint64_t address) {
    return {address < kRangeSize / 2 ? address : address - kRangeSize / 2, kRangeSize};
}

uint64_t MemoryScan::Register(uint32_t index) const {
    const DWORD64 values[kRegisterCount] = {context_.Rax, context_.Rbx, context_.Rcx, context_.Rdx,
                                            context_.Rsi, context_.Rdi, context_.Rsp, context_.Rbp,
                                            context_.R8,  context_.R9,  context_.R10, context_.R11,
                                            context_.R12, context_.R13, context_.R14, context_.R15};
    return values[index];
}

bool MemoryScan::Next(MemoryRange* range) {
    if (counter_ < kRegisterCount) {
        *range = RangeAround(Register(counter_++));
        return true;
    }
    if (counter_ < kStackScanStart)
        counter_ = kStackScanStart;
    const uint64_t stackTop = context_.Rsp & ~uint64_t{7};
    while (counter_ <= kStackScanEnd) {
        uint64_t word = 0, probe = 0;
        if (!read_(stackTop + (counter_ - kStackScanStart), &word))
            return false;
        counter_ += 4;
        if (word >= kLowestAddress && read_(word, &probe)) {
            *range = RangeAround(word);
            return true;
        }
    }
    return false;
}

} // namespace wm
