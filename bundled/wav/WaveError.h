// Why a wave file could not be read or written: one state per cause and, in the same order, the
// text a plug-in gives the host for it (as libFLAC pairs each state enum with its strings).
#pragma once

#include <sdk/wavemill_plugin.h>

#include <cstdint>
#include <string_view>

namespace wm::wav {

enum WaveError : uint32_t {
    kWaveOk = 0,
    // The RIFF structure.
    kWaveTooShort,
    kWaveNotRiffWave,
    kWaveBadDs64,
    kWaveTooManyChunks,
    kWaveReadFailed,
    kWaveNoFmt,
    kWaveNoData,
    kWaveRf64WithoutDs64,
    kWaveRf64CutShort,
    // The format record.
    kWaveFmtTooSmall,
    kWaveExtensibleTooSmall,
    kWaveUnsupportedSubFormat,
    kWaveUnsupportedFormatTag,
    kWaveZeroChannels,
    kWaveZeroRate,
    kWaveUnsupportedBits,
    kWaveBlockAlignMismatch,
    kWaveRateTooHigh,
    kWaveValidBitsTooLarge,
    // Writing.
    kWaveTaggedTooLarge,
    kWaveOutOfMemory,
    kWaveOpenFailed,
    kWaveCreateFailed,
    kWaveDiskFull,
    kWaveWriteFailed,
    kWaveReplaceFailed,
    kWaveFormatChanged,
    kWaveNotOpen,
    kWaveNoConversion,
    kWaveReadOnly,
    kWaveErrorCount
};

// Indexed by WaveError.
extern const char16_t* const WaveErrorString[];

// kWaveDiskFull when the system error code says the disk is full, else `otherwise`.
WaveError WriteError(uint32_t systemError, WaveError otherwise);

// The reason for a plug-in's last failed call, kept for the host's "LastError" question. Its
// own buffer, so that even running out of memory can be told.
class LastWaveError {
  public:
    // Records the cause and returns 0, the failed call's result. An unsupported format tag is
    // named: "WAV format 0x0002 (MS ADPCM) is not supported".
    uint32_t Fail(WaveError error, const WmWaveFormat* format = nullptr) noexcept;
    // Records another plug-in's reason as it stands (cut to fit) and returns 0.
    uint32_t FailText(const char16_t* why) noexcept;
    // Records "<lead><name>: <why>" (a name cut to fit) and returns 0.
    uint32_t FailOption(const char16_t* lead, std::u16string_view name,
                        const char16_t* why) noexcept;
    void Clear() noexcept { text_[0] = 0; }
    const char16_t* Text() const noexcept { return text_; }
    // pointer1 = the text; 0 when no call has failed.
    uint32_t Answer(PluginValue* value) const noexcept;

  private:
    void Append(const char16_t* text, size_t limit = SIZE_MAX) noexcept;

    char16_t text_[192] = {};
};

} // namespace wm::wav
