// The measuring stage of a -replaygain run: it sits just before the encoder, so it measures what
// the encoder gets (after every effect), in the same pass and without changing a block. The
// meter runs on a thread of its own, beside the encoder, with a few blocks' copies queued.
#pragma once

#include "converter/LoudnessMeter.h"
#include "flow/BlockFlow.h"

#include <windows.h>

#include <atomic>
#include <deque>
#include <vector>

namespace wm {

class LoudnessScan final : public BlockStage {
  public:
    // The host hears why, once, when the audio cannot be measured.
    LoudnessScan(bool truePeak, FlowHost& host);
    ~LoudnessScan() override;
    LoudnessScan(const LoudnessScan&) = delete;
    LoudnessScan& operator=(const LoudnessScan&) = delete;

    bool Pass(AudioBlockInfo& block) override;
    // After the last block: the track's loudness, peak and gating blocks. False when the audio
    // could not be measured.
    bool Result(LoudnessRecord& out);

  private:
    struct Piece {
        WmWaveFormat format;
        std::vector<uint8_t> bytes;
    };
    static DWORD WINAPI MeterThread(void* self);
    void MeterPieces();
    // Ends the meter's thread once it has measured every piece queued.
    void Drain();
    bool Report();

    LoudnessMeter meter_;
    FlowHost& host_;
    HANDLE thread_ = nullptr;
    SRWLOCK lock_ = SRWLOCK_INIT;
    CONDITION_VARIABLE changed_ = CONDITION_VARIABLE_INIT;
    std::deque<Piece> queue_; // guarded by lock_, as is ended_
    bool ended_ = false;
    std::atomic<bool> failed_ = false;
    bool reported_ = false; // the converter's thread only
};

} // namespace wm
