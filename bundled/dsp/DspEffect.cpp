#include "bundled/dsp/DspEffect.h"

#include <string>
#include <string_view>

namespace wm::dsp {

uint32_t DspEffect::Get(const char16_t* name, PluginValue* value) const {
    if (!name || !value)
        return 0;
    const std::u16string_view asked(name);
    if (asked == WM_VALUE_IS_LIVE)
        return IsLive() ? 1 : 0;
    if (asked == WM_VALUE_HELP) {
        value->pointer1 = const_cast<char16_t*>(Help());
        return 1;
    }
    if (asked == WM_VALUE_CHANGES_LEVEL)
        return ChangesLevel(static_cast<const char16_t*>(value->pointer1)) ? 1 : 0;
    if (asked == WM_VALUE_LAST_ERROR && !lastError_.empty()) {
        value->pointer1 = const_cast<char16_t*>(lastError_.c_str());
        return 1;
    }
    if (asked == WM_VALUE_INFORMATION && value->value1 < information_.size()) {
        value->pointer1 = const_cast<char16_t*>(information_[value->value1].c_str());
        return 1;
    }
    return 0;
}

void DspEffect::Inform(std::u16string line) {
    information_.push_back(std::move(line));
}

void DspEffect::InformClipped(uint64_t& clipped, std::u16string_view step) {
    if (clipped != 0) {
        const std::string count = std::to_string(clipped);
        Inform(std::u16string(count.begin(), count.end()) +
               u" samples were beyond full scale after " + std::u16string(step) +
               u" and were clipped");
    }
    clipped = 0;
}

bool DspEffect::Begin(const char16_t*) {
    return Fail(u"this effect is not live: it runs only over the rendered file");
}

bool DspEffect::Pass(AudioBlockInfo&) {
    return Fail(u"this effect is not live: it runs only over the rendered file");
}

bool DspEffect::End() {
    return Fail(u"this effect is not live: it runs only over the rendered file");
}

bool DspEffect::PassNonLive(const char16_t*, const WmWaveFormat&, const char16_t*) {
    return Fail(u"this effect is live: it runs block by block");
}

bool DspEffect::Fail(std::u16string why) {
    lastError_ = std::move(why);
    return false;
}

} // namespace wm::dsp
