#include "batch/BatchProgress.h"

#include "files/PathText.h"
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

// Audio per source byte, by type, from the finished sources and the running ones whose length
// is known; a type not seen yet takes the rate of all seen.
class Rates {
  public:
    explicit Rates(const BatchProgressState& state) : byType_(state.measured) {
        for (const RunningShare& r : state.running)
            if (r.lengthMs > 0) {
                MeasuredType& m = byType_[SourceType(r.name)];
                m.audioMs += static_cast<uint64_t>(r.lengthMs);
                m.bytes += r.sourceBytes;
            }
        for (const auto& [type, m] : byType_) {
            all_.audioMs += m.audioMs;
            all_.bytes += m.bytes;
        }
    }
    bool Known() const { return all_.bytes > 0; }
    double Audio(const String& type, uint64_t bytes) const {
        const auto it = byType_.find(type);
        const MeasuredType& m = it != byType_.end() && it->second.bytes > 0 ? it->second : all_;
        return m.bytes ? static_cast<double>(bytes) * static_cast<double>(m.audioMs) /
                             static_cast<double>(m.bytes)
                       : 0;
    }

  private:
    std::map<String, MeasuredType> byType_;
    MeasuredType all_;
};

} // namespace

String SourceType(StringView name) {
    String type;
    for (char16_t c : ExtensionOf(name))
        type += FoldCase(c);
    return type;
}

ProgressFigures ComputeProgress(const BatchProgressState& state, uint64_t elapsedMs) {
    ProgressFigures f;
    double bytesDone = static_cast<double>(state.bytesFinished);
    f.audioMsDone = state.audioMsFinished;
    Rates rates(state);
    double audioLeft = 0;
    for (const RunningShare& r : state.running) {
        const int pc = std::clamp(r.percent, 0, 100);
        bytesDone += static_cast<double>(r.sourceBytes) * pc / 100.0;
        if (r.lengthMs > 0)
            f.audioMsDone += static_cast<uint64_t>(r.lengthMs) * pc / 100;
        const double length = r.lengthMs > 0 ? static_cast<double>(r.lengthMs)
                                             : rates.Audio(SourceType(r.name), r.sourceBytes);
        audioLeft += length * (100 - pc) / 100.0;
    }
    for (const auto& [type, bytes] : state.bytesWaiting)
        audioLeft += rates.Audio(type, bytes);
    const double done = static_cast<double>(f.audioMsDone);
    if (rates.Known() && done + audioLeft > 0) {
        f.fraction = done / (done + audioLeft);
        f.audioMsTotal = static_cast<int64_t>(done + audioLeft);
    } else if (state.bytesTotal > 0)
        f.fraction = std::min(1.0, bytesDone / static_cast<double>(state.bytesTotal));
    if (elapsedMs > 0)
        f.speed = done / static_cast<double>(elapsedMs);
    if (rates.Known() && f.speed > 0)
        f.msLeft = static_cast<int64_t>(audioLeft / f.speed);
    return f;
}

String OverallLine(const BatchProgressState& state, const ProgressFigures& f) {
    String line = u"Files " + IntToText(static_cast<int64_t>(state.filesDone)) + u"/" +
                  IntToText(static_cast<int64_t>(state.filesTotal)) + u"  Audio " +
                  Clock(f.audioMsDone);
    if (f.audioMsTotal >= 0)
        line += u" of " + Clock(static_cast<uint64_t>(f.audioMsTotal));
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
