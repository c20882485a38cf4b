#include "bundled/ffmpeg/FfmpegSupport.h"

#include <mutex>

namespace wm::ffmpeg {

namespace {

std::mutex logLock;
std::string lastLogLine;

void OnLog(void* object, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_ERROR)
        return;
    char line[512];
    int prefix = 1;
    av_log_format_line2(object, level, format, arguments, line, sizeof line, &prefix);
    std::string text = line;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    const std::lock_guard<std::mutex> hold(logLock);
    lastLogLine = text;
}

} // namespace

String AvError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    String why = Widen(text);
    const std::lock_guard<std::mutex> hold(logLock);
    if (!lastLogLine.empty())
        why += u" (" + Widen(lastLogLine) + u")";
    lastLogLine.clear();
    return why;
}

void KeepLogQuiet() {
    av_log_set_callback(OnLog);
}

std::string FileUrl(const char16_t* path) {
    // The "file:" prefix keeps a drive letter from passing for a protocol name.
    return "file:" + Narrow(path);
}

} // namespace wm::ffmpeg
