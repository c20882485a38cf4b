#include "bundled/wav/WaveError.h"

#include <iterator>

namespace wm::wav {

const char16_t* const WaveErrorString[] = {
    u"no error",
    u"file too short for a RIFF header",
    u"not a RIFF WAVE file",
    u"damaged ds64 chunk",
    u"too many chunks",
    u"the file could not be read",
    u"no fmt chunk",
    u"no data chunk",
    u"RF64 file without its ds64 chunk first",
    u"RF64 file cut short",
    u"fmt chunk too small",
    u"extensible fmt chunk too small",
    u"WAV extensible sub-format is not supported",
    u"WAV format is not supported",
    u"WAV format with zero channels",
    u"WAV format with a sample rate of zero",
    u"WAV bits per sample not supported",
    u"WAV block align does not match the channels and bits",
    u"WAV data rate too high",
    u"WAV valid bits exceed the container size",
    u"the tagged file would pass 4 GiB",
    u"out of memory",
    u"the file could not be opened",
    u"the output file could not be created",
    u"disk full",
    u"write failed",
    u"the original file could not be replaced",
    u"a block's format differs from the conversion's",
    u"no file is open",
    u"no output file or source format given",
    u"the file is read-only",
};

static_assert(std::size(WaveErrorString) == kWaveErrorCount, "one text per error");

namespace {

struct TagName {
    uint16_t tag;
    const char16_t* name;
};

// The formats a user is likely to meet in a .wav file.
constexpr TagName kTagNames[] = {
    {0x0002, u"MS ADPCM"},  {0x0006, u"A-law"},    {0x0007, u"mu-law"},
    {0x0011, u"IMA ADPCM"}, {0x0031, u"GSM 6.10"}, {0x0050, u"MPEG"},
    {0x0055, u"MP3"},       {0x00FF, u"AAC"},      {0x2000, u"AC-3"},
};

} // namespace

String WaveErrorText(WaveError error, const WmWaveFormat* format) {
    if (error >= kWaveErrorCount)
        error = kWaveReadFailed;
    if (error != kWaveUnsupportedFormatTag || !format)
        return WaveErrorString[error];
    const char16_t* digits = u"0123456789ABCDEF";
    String text = u"WAV format 0x";
    for (int i = 0; i < 4; ++i)
        text += digits[(format->formatTag >> (12 - 4 * i)) & 0xF];
    for (const TagName& t : kTagNames)
        if (t.tag == format->formatTag)
            text += String(u" (") + t.name + u")";
    return text + u" is not supported";
}

WaveError WriteError(uint32_t systemError, WaveError otherwise) {
    constexpr uint32_t kHandleDiskFull = 39, kDiskFull = 112;
    return systemError == kDiskFull || systemError == kHandleDiskFull ? kWaveDiskFull : otherwise;
}

} // namespace wm::wav
