// The output's peak as a player meets it: LAME's frames decoded again by libmpg123 to float, on
// a thread of its own while the encoder goes on, so that the exact peak costs the run next to no
// time. Fed from the encoder's thread; the decoding thread only ever touches libmpg123.
#pragma once

#include <mpg123.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace wm::bundled {

class Mp3PeakDecoder {
  public:
    Mp3PeakDecoder() = default;
    Mp3PeakDecoder(const Mp3PeakDecoder&) = delete;
    Mp3PeakDecoder& operator=(const Mp3PeakDecoder&) = delete;
    ~Mp3PeakDecoder() { Abandon(); }

    // Starts the decoding thread for frames of this rate; false when libmpg123 cannot.
    bool Start(long rate);
    bool Started() const { return thread_.joinable(); }
    // Hands over bytes of MPEG frames, in the order they are written.
    void Feed(const uint8_t* data, size_t size);
    // Waits for every frame fed to be decoded; false when one could not be.
    bool Finish(double& peak);
    // Stops the thread without waiting for what is left; the decoder is released.
    void Abandon();

  private:
    void HandOver();
    void DecodeFed();
    bool DecodeChunk(const std::vector<uint8_t>& chunk);
    void Release();

    mpg123_handle* handle_ = nullptr;
    std::thread thread_;
    std::mutex lock_;
    std::condition_variable fed_;
    // Frames gather on the encoder's side and cross in large pieces: every crossing wakes the
    // thread, and a wake costs a round trip through the system under Wine.
    std::vector<uint8_t> gathered_;
    std::vector<uint8_t> pending_; // guarded by lock_
    bool ending_ = false;          // guarded by lock_
    bool dropping_ = false;        // guarded by lock_: Abandon, no more decoding
    // The decoding thread's own until it is joined.
    bool failed_ = false;
    float peak_ = 0;
};

} // namespace wm::bundled
