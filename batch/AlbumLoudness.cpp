#include "batch/AlbumLoudness.h"

#include "batch/BatchArguments.h"
#include "options/OptionStore.h"
#include "protocol/ConverterOptions.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace wm {

double AlbumLevelGain(double albumLufs, double truePeak, double targetLufs) {
    if (!std::isfinite(albumLufs) || truePeak <= 0)
        return 0;
    const double headroom = kAlbumCeilingDbtp - 20 * std::log10(truePeak);
    return std::min(targetLufs - albumLufs, headroom);
}

EffectOptions EffectsOf(StringView passThrough) {
    OptionStore options;
    options.Fill(passThrough);
    EffectOptions effects;
    for (size_t i = 0; i < options.Count(); ++i)
        if (OptionNumber(options.NameAt(i), option::kDspEffect) != 0) {
            effects.text += OptionText(options.NameAt(i), options.ValueAt(i));
            ++effects.count;
        }
    return effects;
}

String LevelEffectOption(size_t userEffects, double gainDb) {
    char gain[32];
    std::snprintf(gain, sizeof gain, "%.2f", gainDb);
    return OptionText(String(option::kDspEffect) + Widen(std::to_string(userEffects + 1)),
                      u"Volume=gain=" + Widen(gain));
}

} // namespace wm
