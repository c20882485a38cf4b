// What a wave format a plug-in declares must satisfy, and the arithmetic the host does with it:
// bytes to time, whole sample frames.
#pragma once

#include "sdk/wavemill_plugin.h"

#include <cstdint>
#include <string>

namespace wm {

// Bytes of one sample frame (blockAlign); a zero blockAlign counts as 1 so nothing divides by 0.
uint32_t FrameBytes(const WmWaveFormat& f);
bool IsWholeFrames(uint64_t bytes, const WmWaveFormat& f);
// bytes x 1000 / avgBytesPerSec (a zero rate counts as 1): how the host turns bytes into time.
uint64_t BytesToMs(uint64_t bytes, const WmWaveFormat& f);
// samplesPerSec x blockAlign, at least 1: the time base of the rendered effects file.
uint64_t FrameBytesPerSecond(const WmWaveFormat& f);
// The fields that matter for the format's tag (16 bytes plain, 40 extensible) are equal.
bool SameFormat(const WmWaveFormat& a, const WmWaveFormat& b);
// What can be wrong with a declared format; the first fault found is the one reported.
enum class FormatFault : uint8_t { None, UnknownTag, ZeroField, BlockAlign, ByteRate, Extensible };
FormatFault FindFormatFault(const WmWaveFormat& f);
// The fault's short name ("block-align"), from one table with every fault.
const char* FormatFaultName(FormatFault fault);
// Plain words on what is wrong with a format, with its numbers; empty when it is sound.
std::string FormatProblem(const WmWaveFormat& f);

} // namespace wm
