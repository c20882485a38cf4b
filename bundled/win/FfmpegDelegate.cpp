#include "bundled/win/FfmpegDelegate.h"

namespace wm::bundled {

bool FfmpegDelegate::Open(DecodeOpenInfo& info) {
    Close();
    // Its FFmpeg DLLs lie beside the program, where the host's own search finds them.
    if (!decoder_.Load(SiblingLibraryPath(u"FFmpegDecoder.dll")))
        return false;
    DecodeOpenInfo asked{};
    asked.path = info.path;
    asked.openMode = info.openMode;
    if (!decoder_.Open(asked))
        return Close(), false;
    open_ = true;
    info.format = asked.format;
    info.bitRate = asked.bitRate;
    info.msLength = asked.msLength;
    info.byteLength = asked.byteLength;
    info.tagData = asked.tagData;
    info.tagSize = asked.tagSize;
    return true;
}

const char16_t* FfmpegDelegate::LastError() {
    lastError_ = open_ ? decoder_.LastError() : String();
    return lastError_.empty() ? nullptr : lastError_.c_str();
}

void FfmpegDelegate::Close() {
    open_ = false;
    decoder_.Release();
}

} // namespace wm::bundled
