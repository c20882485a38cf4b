// Drives one DSP effect library through its eleven entry points in the order and with the
// records the host uses, over raw PCM files: the check that a shipped or third-party effect
// behaves as the host needs, independent of the converter.
#pragma once

#include <sdk/wavemill_plugin.h>

#include "plugins/clTwDSP.h"

#include <windows.h>

#include <string>

namespace wm::test {

struct DriveOptions {
    unsigned blockMs = 500;
    // Ends a live stream with an extra empty block carrying the end flag and a zeroed format,
    // as a decoder may, instead of flagging the last block with data.
    bool emptyLastBlock = false;
};

class DspDriver {
  public:
    explicit DspDriver(DriveOptions options) : options_(options) {}
    ~DspDriver();
    DspDriver(const DspDriver&) = delete;
    DspDriver& operator=(const DspDriver&) = delete;

    // Loads <program>\DSPs\<name>.dll as the host does; DLLs it imports are found in its own
    // folder and in the program's folder.
    bool Load(const std::wstring& program, const std::wstring& name);

    // Runs the effect over the raw file `in` into `out` (they may be the same file for a
    // non-live effect); `format` is the format of `in` on entry and of `out` on return.
    bool Run(const std::wstring& settings, const std::wstring& in, const std::wstring& out,
             WmWaveFormat& format);

    // Why the last step failed, with the effect's own "LastError" text when it gave one.
    const std::wstring& Error() const { return error_; }

  private:
    bool RunLive(ConversionInfo& conversion, const std::wstring& settings, const std::wstring& in,
                 const std::wstring& out, WmWaveFormat& format);
    bool RunNonLive(const std::wstring& settings, const std::wstring& in, const std::wstring& out,
                    const WmWaveFormat& format);
    bool Feed(HANDLE in, HANDLE out, WmWaveFormat& format);
    bool PassOne(AudioBlockInfo& block, HANDLE out, WmWaveFormat& format);
    bool Failed(const char* entryPoint);
    bool Fail(const std::wstring& why);

    DriveOptions options_;
    HMODULE module_ = nullptr;
    DspEntryPoints api_;
    void* instance_ = nullptr;
    std::wstring name_;
    std::wstring error_;
};

// "44100:2:s16" (rate, channels, u8|s16|s24|s32|f32|f64, optional ":ext" for the extensible
// form) to a format record and back.
bool ParseFormat(const std::wstring& text, WmWaveFormat& format);
std::string FormatText(const WmWaveFormat& format);

} // namespace wm::test
