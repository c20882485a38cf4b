// Shared checks of the option fuzzers: whatever the text, every stored option must have a name
// the tokeniser could have ended where it did, and the encoder's command line built from the
// store must read back as the same options.
#pragma once

#include "converter/CommandFileText.h"
#include "converter/CommandLineText.h"
#include "fuzz/FuzzCheck.h"

namespace wm::fuzz {

inline void CheckNames(const OptionStore& store) {
    for (size_t i = 0; i < store.Count(); ++i) {
        const String& name = store.NameAt(i);
        Check(!name.empty(), "empty name stored");
        Check(name.find_first_of(u"\"= ") == String::npos, "name runs past its end");
    }
}

// A name that itself begins with "-" reads back as a shorter one, and a quote in a value has
// no escape: only other stores must survive the trip.
inline bool Reencodable(const OptionStore& store) {
    for (size_t i = 0; i < store.Count(); ++i)
        if (store.NameAt(i)[0] == u'-' || store.ValueAt(i).find(u'"') != String::npos)
            return false;
    return true;
}

// With no DSP records nothing named dspeffect is consumed, so the encoder's line holds exactly
// the options the converter does not read itself.
inline void CheckEncoderLineReadsBack(const OptionStore& store) {
    if (!Reencodable(store))
        return;
    String line = StripWavemillCmds(store, 0);
    OptionStore back;
    back.Fill(line);
    Check(back.Count() <= store.Count(), "encoder line grew");
    size_t j = 0;
    for (size_t i = 0; i < store.Count() && j < back.Count(); ++i) {
        if (EqualsNoCase(store.NameAt(i), back.NameAt(j))) {
            Check(store.ValueAt(i) == back.ValueAt(j), "value changed on the encoder line");
            ++j;
        }
    }
    Check(j == back.Count(), "encoder line holds an option the store does not");
    Check(StripWavemillCmds(back, 0) == line, "encoder line is not stable");
}

} // namespace wm::fuzz
