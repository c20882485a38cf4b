#include "batch/Adaptation.h"

#include "batch/BatchArguments.h"
#include "options/OptionStore.h"
#include "protocol/ConverterOptions.h"
#include "text/NumberText.h"

#include <algorithm>

namespace wm {

namespace {

String Number(uint64_t n) {
    return IntToText(static_cast<int64_t>(n));
}

// The highest N of the -dspeffectN options in the text.
size_t LastEffectNumber(StringView options) {
    OptionStore store;
    store.Fill(options);
    size_t last = 0;
    for (size_t i = 0; i < store.Count(); ++i)
        last = std::max(last, OptionNumber(store.NameAt(i), option::kDspEffect));
    return last;
}

} // namespace

TargetLimits LimitsOf(StringView codec) {
    if (EqualsNoCase(codec, u"MP3"))
        return {{1, 2}, {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000}, false};
    if (EqualsNoCase(codec, u"AAC")) // its layouts: mono to 5.1, and 7.1
        return {{1, 2, 3, 4, 5, 6, 8},
                {7350, 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000, 64000, 88200,
                 96000},
                false};
    if (EqualsNoCase(codec, u"FLAC") || EqualsNoCase(codec, u"ALAC"))
        return {{1, 2, 3, 4, 5, 6, 7, 8}, {}, true};
    return {};
}

Adaptation AdaptTo(const SourceShape& source, const TargetLimits& limits) {
    Adaptation a;
    uint16_t channels = source.channels;
    if (!limits.channels.empty() &&
        !std::binary_search(limits.channels.begin(), limits.channels.end(), channels)) {
        const auto above =
            std::upper_bound(limits.channels.begin(), limits.channels.end(), channels);
        channels = above == limits.channels.begin() ? limits.channels.front() : *(above - 1);
    }
    if (channels != source.channels) {
        a.effects.push_back(u"Channels=channels=" + Number(channels));
        a.notes.push_back(u"down-mixed " + Number(source.channels) + u" to " + Number(channels) +
                          u" channels");
    }
    if (!limits.rates.empty() &&
        !std::binary_search(limits.rates.begin(), limits.rates.end(), source.rate)) {
        const auto above = std::lower_bound(limits.rates.begin(), limits.rates.end(), source.rate);
        const uint32_t rate = above == limits.rates.end() ? limits.rates.back() : *above;
        a.effects.push_back(u"Resample=rate=" + Number(rate));
        a.notes.push_back(u"resampled " + Number(source.rate) + u" Hz to " + Number(rate) + u" Hz");
    }
    if (limits.integerOnly && source.isFloat) {
        a.effects.push_back(u"BitDepth=bits=24");
        a.notes.push_back(u"float samples made 24-bit integers");
    }
    return a;
}

String AdaptingEffectOptions(const StringList& effects, StringView passThrough) {
    String options;
    size_t n = LastEffectNumber(passThrough);
    for (const String& effect : effects)
        options += OptionText(String(option::kDspEffect) + Number(++n), effect);
    return options;
}

} // namespace wm
