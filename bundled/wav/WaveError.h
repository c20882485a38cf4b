// Why a wave file could not be read or written: one state per cause and, in the same order, the
// text a plug-in gives the host for it (as libFLAC pairs each state enum with its strings).
#pragma once

#include "text/String.h"

#include <sdk/wavemill_plugin.h>

#include <cstdint>

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

// The text a plug-in gives the host for `error`. An unsupported format tag is named when the
// format is given: "WAV format 0x0002 (MS ADPCM) is not supported".
String WaveErrorText(WaveError error, const WmWaveFormat* format = nullptr);

} // namespace wm::wav
