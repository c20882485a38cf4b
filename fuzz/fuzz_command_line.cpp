// Any UTF-16 text as a process command line: the split, the tokeniser and the encoder's line.
// The options the text holds, written back as a Windows parent quotes each argument whole,
// must split into the same options again.
#include "fuzz/fuzz_options.h"

namespace {

using wm::String;

// One argument by the standard quoting rules: backslashes double only before a quote.
void AppendQuotedArgument(String& line, const String& arg) {
    line += u'"';
    size_t backslashes = 0;
    for (char16_t c : arg) {
        if (c == u'\\') {
            ++backslashes;
            continue;
        }
        line.append(c == u'"' ? backslashes * 2 + 1 : backslashes, u'\\');
        line += c;
        backslashes = 0;
    }
    line.append(backslashes * 2, u'\\');
    line += u'"';
}

// The split cannot see where a quoted value began: a value that starts with a space or "="
// loses them, as it does on a real command line. A bare flag with a tab in its name would be
// two arguments.
bool Quotable(const wm::OptionStore& store) {
    for (size_t i = 0; i < store.Count(); ++i) {
        const String& v = store.ValueAt(i);
        if (!v.empty() && (v[0] == u' ' || v[0] == u'='))
            return false;
        if (v.empty() && store.NameAt(i).find(u'\t') != String::npos)
            return false;
    }
    return wm::fuzz::Reencodable(store);
}

void CheckQuotedArgumentsSplitBack(const wm::OptionStore& store) {
    if (!Quotable(store))
        return;
    String line = u"\"C:\\Program Files\\Wavemill.exe\"";
    for (size_t i = 0; i < store.Count(); ++i) {
        line += u' ';
        String arg = u"-" + store.NameAt(i);
        // A bare flag goes as it is: quoted, it would read as a value that starts with a dash
        // ("-3 dB"), which stays the value of the option before it.
        if (store.ValueAt(i).empty())
            line += arg;
        else
            AppendQuotedArgument(line, arg + u"=" + store.ValueAt(i));
    }
    wm::OptionStore back;
    back.Fill(wm::OptionTextOfCommandLine(line));
    wm::fuzz::Check(back.Count() == store.Count(), "quoted arguments split into other options");
    for (size_t i = 0; i < store.Count(); ++i) {
        wm::fuzz::Check(back.NameAt(i) == store.NameAt(i), "name changed by the split");
        wm::fuzz::Check(back.ValueAt(i) == store.ValueAt(i), "value changed by the split");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace wm;
    String text = OptionTextOfCommandFile(data, size);
    OptionStore split;
    split.Fill(OptionTextOfCommandLine(text));
    fuzz::CheckNames(split);
    fuzz::CheckEncoderLineReadsBack(split);

    OptionStore direct;
    direct.Fill(text);
    CheckQuotedArgumentsSplitBack(direct);
    return 0;
}
