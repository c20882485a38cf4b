// The option store: names and values in the order met, filled by the tokeniser from the process
// command line, a command file or an encoder's own command line. Names compare case-blind; the
// first match wins.
#pragma once

#include "text/String.h"

#include <cstddef>

namespace wm {

class OptionStore {
  public:
    // Empties the store, then tokenises text from 0-based position start.
    void Fill(StringView text, size_t start = 0);

    // True when the option is present, whatever its value; value is empty when absent.
    bool Find(StringView name, String* value = nullptr) const;
    // The value when present with a non-empty value, else empty.
    String Value(StringView name) const;
    bool Present(StringView name) const { return Find(name); }

    size_t Count() const { return names_.size(); }
    const String& NameAt(size_t i) const { return names_[i]; }
    const String& ValueAt(size_t i) const { return values_[i]; }

  private:
    StringList names_;
    StringList values_;
};

// The tokeniser ends a name at a double quote, "=" or a space.
bool EndsOptionName(char16_t c);

} // namespace wm
