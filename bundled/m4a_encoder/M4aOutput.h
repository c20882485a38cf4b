// The M4A muxer's output: libavformat writes through our buffered writer, and the movie box it
// writes last is held in memory so that the free-form tags can join it before it reaches the
// file. The audio is written once; nothing is rewritten afterwards.
#pragma once

#include "bundled/win/BufferedWriter.h"
#include "text/String.h"

extern "C" {
#include <libavformat/avio.h>
}

#include <cstdint>
#include <vector>

namespace wm::bundled {

class M4aOutput {
  public:
    M4aOutput() = default;
    M4aOutput(const M4aOutput&) = delete;
    M4aOutput& operator=(const M4aOutput&) = delete;
    ~M4aOutput() { Abandon(); }

    bool Create(const char16_t* path);
    AVIOContext* Io() const { return io_; }
    // From here on, what is written at or after the current end is held (the movie box).
    void HoldTail();
    std::vector<uint8_t>& Tail() { return tail_; }
    // Writes the tail where it belongs and closes; true when every write succeeded.
    bool Close();
    // Closes without caring about the result and deletes the unfinished file.
    void Abandon();
    bool DiskFull() const { return file_.DiskFull(); }

  private:
    static int OnWrite(void* self, uint8_t* data, int size);
    static int64_t OnSeek(void* self, int64_t offset, int whence);

    BufferedWriter file_;
    String path_; // the file made, until it is closed whole
    AVIOContext* io_ = nullptr;
    int64_t position_ = 0;
    int64_t end_ = 0;
    int64_t tailAt_ = -1; // where the held tail starts; -1 while nothing is held
    std::vector<uint8_t> tail_;
    bool failed_ = false;
};

} // namespace wm::bundled
