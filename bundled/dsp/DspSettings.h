// An effect's settings text: "key=value" words separated by blanks ("gain=-3.5", "bits=16
// dither=none"). Keys and word values match without regard to case, like the host's options.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace wm::dsp {

class DspSettings {
  public:
    // Splits `text` (null reads as empty) and accepts only the keys in `valid`. On failure
    // `error` says which word is wrong and lists the valid keys.
    bool Parse(const char16_t* text, std::initializer_list<std::u16string_view> valid,
               std::u16string& error);

    bool Has(std::u16string_view key) const { return Find(key) != nullptr; }

    // A number within [low, high]; `error` names the setting when it is not one.
    bool Number(std::u16string_view key, double low, double high, double& value,
                std::u16string& error) const;

    // One of `words`; `index` is its position in the list.
    bool Choice(std::u16string_view key, std::initializer_list<std::u16string_view> words,
                size_t& index, std::u16string& error) const;

  private:
    struct Entry {
        std::u16string key;
        std::u16string value;
    };
    const Entry* Find(std::u16string_view key) const;

    std::vector<Entry> entries_;
};

// "a, b and c" (or " or "): names as an error text lists them.
std::u16string JoinNames(std::initializer_list<std::u16string_view> names,
                         std::u16string_view conjunction);

// UTF-16 for numbers and ASCII texts in messages.
std::u16string Widen(std::string_view text);

} // namespace wm::dsp
