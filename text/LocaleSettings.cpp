// The process-wide number format: loaded once on first use, read-only afterwards.
#include "text/NumberText.h"

#include <atomic>
#include <mutex>

namespace wm {

namespace {

struct LocaleState {
    std::mutex lock;
    std::atomic<bool> loaded{false};
    LocaleLoader loader = nullptr;
    LocaleNumberSettings settings;
};

LocaleState& State() {
    static LocaleState state;
    return state;
}

// Registry texts longer than five characters are cut; empty ones take the default.
String TextOr(StringView value, const char16_t* fallback) {
    if (value.empty())
        return fallback;
    return String(value.substr(0, 5));
}

} // namespace

void SetLocaleLoader(LocaleLoader loader) {
    LocaleState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    s.loader = loader;
    s.loaded.store(false, std::memory_order_release);
}

const LocaleNumberSettings& CurrentLocale() {
    LocaleState& s = State();
    if (!s.loaded.load(std::memory_order_acquire)) {
        std::lock_guard<std::mutex> guard(s.lock);
        if (!s.loaded.load(std::memory_order_relaxed)) {
            s.settings = s.loader ? s.loader() : LocaleNumberSettings{};
            s.loaded.store(true, std::memory_order_release);
        }
    }
    return s.settings;
}

void ReloadLocaleForTests() {
    LocaleState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    s.loaded.store(false, std::memory_order_release);
}

LocaleNumberSettings LocaleFromValues(StringView iLZero, StringView iNegNumber,
                                      StringView sGrouping, StringView sNegativeSign,
                                      StringView sPositiveSign, StringView sThousand,
                                      StringView sDecimal, StringView sTime) {
    LocaleNumberSettings out;
    out.leadingZero = iLZero.empty() || iLZero[0] != u'0';
    if (!iNegNumber.empty()) {
        int64_t pattern = TextToInt(iNegNumber);
        out.negativePattern = (pattern >= 0 && pattern <= 4) ? static_cast<int>(pattern) : 1;
    }
    out.indianGrouping = sGrouping == u"3;2;0";
    out.negativeSign = TextOr(sNegativeSign, u"-");
    out.positiveSign = TextOr(sPositiveSign, u"");
    out.thousand = TextOr(sThousand, u"");
    out.decimal = TextOr(sDecimal, u".");
    out.time = TextOr(sTime, u":");
    return out;
}

} // namespace wm
