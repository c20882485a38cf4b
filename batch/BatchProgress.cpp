#include "batch/BatchProgress.h"

#include "text/NumberText.h"

#include <algorithm>

namespace wm {

namespace {

String Clock(uint64_t ms) {
    const uint64_t s = ms / 1000;
    auto two = [](uint64_t n) {
        return (n < 10 ? u"0" : u"") + IntToText(static_cast<int64_t>(n));
    };
    return IntToText(static_cast<int64_t>(s / 3600)) + u":" + two(s / 60 % 60) + u":" + two(s % 60);
}

} // namespace

ProgressFigures ComputeProgress(const BatchProgressState& state, uint64_t elapsedMs) {
    ProgressFigures f;
    double bytesDone = static_cast<double>(state.bytesFinished);
    f.audioMsDone = state.audioMsFinished;
    for (const RunningShare& r : state.running) {
        const int pc = std::clamp(r.percent, 0, 100);
        bytesDone += static_cast<double>(r.sourceBytes) * pc / 100.0;
        if (r.lengthMs > 0)
            f.audioMsDone += static_cast<uint64_t>(r.lengthMs) * pc / 100;
    }
    if (state.bytesTotal > 0)
        f.fraction = std::min(1.0, bytesDone / static_cast<double>(state.bytesTotal));
    if (elapsedMs > 0)
        f.speed = static_cast<double>(f.audioMsDone) / static_cast<double>(elapsedMs);
    if (f.fraction > 0)
        f.msLeft =
            static_cast<int64_t>(static_cast<double>(elapsedMs) * (1 - f.fraction) / f.fraction);
    return f;
}

String OverallLine(const BatchProgressState& state, const ProgressFigures& f) {
    String line = u"Files " + IntToText(static_cast<int64_t>(state.filesDone)) + u"/" +
                  IntToText(static_cast<int64_t>(state.filesTotal)) + u"  Audio " +
                  Clock(f.audioMsDone);
    if (f.speed > 0)
        line += u"  " + FloatToText(f.speed, 1) + u"x";
    if (f.msLeft >= 0)
        line += u"  Left " + Clock(static_cast<uint64_t>(f.msLeft));
    return line + u"  (" + IntToText(static_cast<int64_t>(f.fraction * 100)) + u"%)";
}

StringList RunningLines(const BatchProgressState& state) {
    StringList lines;
    for (const RunningShare& r : state.running) {
        const String pc = IntToText(std::clamp(r.percent, 0, 100));
        lines.push_back(String(4 - std::min<size_t>(pc.size(), 3), u' ') + pc + u"%  " + r.name);
    }
    return lines;
}

} // namespace wm
