#include "bundled/mp3_encoder/Mp3PeakDecoder.h"

#include <cmath>
#include <cstring>

namespace wm::bundled {

bool Mp3PeakDecoder::Start(long rate) {
    Abandon();
    int status = MPG123_OK;
    handle_ = mpg123_new(nullptr, &status);
    if (!handle_)
        return false;
    // Float output keeps an overshoot above full scale, which is what the peak is for.
    mpg123_param(handle_, MPG123_ADD_FLAGS, MPG123_QUIET, 0);
    if (mpg123_format_none(handle_) != MPG123_OK ||
        mpg123_format(handle_, rate, MPG123_MONO | MPG123_STEREO, MPG123_ENC_FLOAT_32) !=
            MPG123_OK ||
        mpg123_open_feed(handle_) != MPG123_OK) {
        Release();
        return false;
    }
    ending_ = dropping_ = failed_ = false;
    peak_ = 0;
    pending_.clear();
    thread_ = std::thread([this] { DecodeFed(); });
    return true;
}

namespace {
// About a second and a half of a 320 kbps stream.
constexpr size_t kHandOverBytes = 64 * 1024;
} // namespace

void Mp3PeakDecoder::Feed(const uint8_t* data, size_t size) {
    if (!Started() || size == 0)
        return;
    gathered_.insert(gathered_.end(), data, data + size);
    if (gathered_.size() >= kHandOverBytes)
        HandOver();
}

void Mp3PeakDecoder::HandOver() {
    {
        std::lock_guard<std::mutex> hold(lock_);
        // The decoding thread has nearly always taken the last piece: hand over the buffer itself.
        if (pending_.empty())
            pending_.swap(gathered_);
        else
            pending_.insert(pending_.end(), gathered_.begin(), gathered_.end());
    }
    gathered_.clear();
    fed_.notify_one();
}

bool Mp3PeakDecoder::Finish(double& peak) {
    if (!Started())
        return false;
    HandOver();
    {
        std::lock_guard<std::mutex> hold(lock_);
        ending_ = true;
    }
    fed_.notify_one();
    thread_.join();
    const bool ok = !failed_;
    peak = peak_;
    Release();
    return ok;
}

void Mp3PeakDecoder::Abandon() {
    if (Started()) {
        {
            std::lock_guard<std::mutex> hold(lock_);
            ending_ = dropping_ = true;
        }
        fed_.notify_one();
        thread_.join();
    }
    Release();
}

void Mp3PeakDecoder::Release() {
    if (handle_) {
        mpg123_close(handle_);
        mpg123_delete(handle_);
    }
    handle_ = nullptr;
    std::vector<uint8_t>().swap(gathered_);
    std::vector<uint8_t>().swap(pending_);
}

void Mp3PeakDecoder::DecodeFed() {
    std::vector<uint8_t> chunk;
    for (;;) {
        bool last = false;
        {
            std::unique_lock<std::mutex> hold(lock_);
            fed_.wait(hold, [this] { return !pending_.empty() || ending_; });
            if (dropping_)
                return;
            chunk.swap(pending_);
            pending_.clear();
            last = ending_;
        }
        if (!failed_ && !chunk.empty())
            failed_ = !DecodeChunk(chunk);
        if (last)
            return;
    }
}

bool Mp3PeakDecoder::DecodeChunk(const std::vector<uint8_t>& chunk) {
    if (mpg123_feed(handle_, chunk.data(), chunk.size()) != MPG123_OK)
        return false;
    for (;;) {
        off_t frame = 0;
        unsigned char* audio = nullptr;
        size_t bytes = 0;
        const int status = mpg123_decode_frame(handle_, &frame, &audio, &bytes);
        if (status == MPG123_NEED_MORE)
            return true;
        if (status != MPG123_OK && status != MPG123_NEW_FORMAT)
            return false;
        float peak = peak_;
        for (size_t at = 0; at + sizeof(float) <= bytes; at += sizeof(float)) {
            float sample;
            std::memcpy(&sample, audio + at, sizeof sample);
            peak = std::fmax(peak, std::fabs(sample));
        }
        peak_ = peak;
    }
}

} // namespace wm::bundled
