#include "converter/LoudnessScan.h"

namespace wm {

namespace {
// Enough to keep the meter busy while the encoder takes a block, without holding much audio.
constexpr size_t kMaxQueued = 4;
} // namespace

LoudnessScan::LoudnessScan(bool truePeak, FlowHost& host) : meter_(truePeak), host_(host) {}

LoudnessScan::~LoudnessScan() {
    Drain();
}

bool LoudnessScan::Pass(AudioBlockInfo& block) {
    if (block.length == 0)
        return !failed_ || Report();
    if (!thread_) {
        thread_ = ::CreateThread(nullptr, 0, &LoudnessScan::MeterThread, this, 0, nullptr);
        if (!thread_) {
            failed_ = true;
            return Report();
        }
    }
    Piece piece{block.format,
                std::vector<uint8_t>(static_cast<const uint8_t*>(block.data),
                                     static_cast<const uint8_t*>(block.data) + block.length)};
    ::AcquireSRWLockExclusive(&lock_);
    while (queue_.size() >= kMaxQueued && !failed_)
        ::SleepConditionVariableSRW(&changed_, &lock_, INFINITE, 0);
    const bool failed = failed_;
    if (!failed)
        queue_.push_back(std::move(piece));
    ::ReleaseSRWLockExclusive(&lock_);
    ::WakeAllConditionVariable(&changed_);
    return !failed || Report();
}

DWORD WINAPI LoudnessScan::MeterThread(void* self) {
    static_cast<LoudnessScan*>(self)->MeterPieces();
    return 0;
}

void LoudnessScan::MeterPieces() {
    for (;;) {
        ::AcquireSRWLockExclusive(&lock_);
        while (queue_.empty() && !ended_)
            ::SleepConditionVariableSRW(&changed_, &lock_, INFINITE, 0);
        if (queue_.empty()) {
            ::ReleaseSRWLockExclusive(&lock_);
            return;
        }
        Piece piece = std::move(queue_.front());
        queue_.pop_front();
        ::ReleaseSRWLockExclusive(&lock_);
        ::WakeAllConditionVariable(&changed_);
        if (!meter_.Add(piece.format, piece.bytes.data(), piece.bytes.size())) {
            ::AcquireSRWLockExclusive(&lock_);
            failed_ = true;
            queue_.clear();
            ::ReleaseSRWLockExclusive(&lock_);
            ::WakeAllConditionVariable(&changed_);
            return;
        }
    }
}

void LoudnessScan::Drain() {
    if (!thread_)
        return;
    ::AcquireSRWLockExclusive(&lock_);
    ended_ = true;
    ::ReleaseSRWLockExclusive(&lock_);
    ::WakeAllConditionVariable(&changed_);
    ::WaitForSingleObject(thread_, INFINITE);
    ::CloseHandle(thread_);
    thread_ = nullptr;
}

bool LoudnessScan::Result(LoudnessRecord& out) {
    Drain();
    return (!failed_ && meter_.Result(out)) || Report();
}

// Says once why the audio could not be measured; always false.
bool LoudnessScan::Report() {
    if (!reported_) {
        reported_ = true;
        const String why =
            meter_.Fault().empty() ? String(u"no thread could be started") : meter_.Fault();
        host_.Error(u"Error: ReplayGain: the audio could not be measured: " + why + u".");
    }
    return false;
}

} // namespace wm
