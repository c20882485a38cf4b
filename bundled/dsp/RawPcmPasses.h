// Whole passes over a raw PCM file in pieces of doubles: one to read it, one to rewrite it in
// place. Memory stays at one chunk whatever the file's length.
#pragma once

#include "bundled/dsp/SampleCodec.h"
#include "bundled/win/Win32File.h"

#include <functional>
#include <string>
#include <vector>

namespace wm::dsp {

class RawPcmPasses {
  public:
    explicit RawPcmPasses(const PcmLayout& layout) : layout_(layout) {}

    bool Open(const char16_t* path);
    // `use` sees every sample once, in order, in pieces of whole frames.
    bool Read(const std::function<void(const double*, size_t)>& use);
    // `apply` changes every sample, which is then written back where it was.
    bool Rewrite(const std::function<void(double*, size_t)>& apply);
    const std::u16string& Error() const { return error_; }

  private:
    bool Pass(bool write, const std::function<void(double*, size_t)>& apply);

    PcmLayout layout_;
    bundled::Win32File file_;
    std::u16string path_;
    uint64_t size_ = 0;
    std::vector<uint8_t> chunk_;
    std::u16string error_;
};

} // namespace wm::dsp
