#include "protocol/OptionHelp.h"

#include "protocol/ConverterOptions.h"

namespace wm {

namespace {

constexpr size_t kIndent = 2;
constexpr size_t kMeaningColumn = 25;

void AddEntry(const String& usage, StringView meaning, StringList& lines) {
    String line = String(kIndent, u' ') + usage;
    if (line.size() + 1 > kMeaningColumn) {
        lines.push_back(line);
        line.clear();
    }
    line.resize(kMeaningColumn, u' ');
    lines.push_back(line + String(meaning));
}

} // namespace

StringList OptionHelpLines() {
    StringList lines;
    String usage;
    const auto options = ConverterOptions();
    for (size_t i = 0; i < options.size(); ++i) {
        const ConverterOption& o = options[i];
        if (o.usage.empty())
            continue;
        usage += (usage.empty() ? u"" : u", ") + String(o.usage);
        const bool lastOfRow = i + 1 == options.size() || options[i + 1].help != o.help;
        if (lastOfRow) {
            AddEntry(usage, o.help, lines);
            usage.clear();
        }
    }
    lines.push_back(u"  Any other option goes to the encoder as its own command line.");
    return lines;
}

} // namespace wm
