#include "batch/OutputRecord.h"

#include "files/PathText.h"

namespace wm {

namespace {

String Folded(StringView path) {
    String f;
    for (char16_t c : path)
        f += FoldCase(c == u'/' ? u'\\' : c);
    return f;
}

// A tab or line break inside a value would end its field; Windows names hold neither.
String OneField(StringView text) {
    String field(text);
    for (char16_t& c : field)
        if (c == u'\t' || c == u'\r' || c == u'\n')
            c = u' ';
    return field;
}

} // namespace

OutputRecord::OutputRecord(StringView outFolder) : outFolder_(EnsureTrailingSeparator(outFolder)) {}

String OutputRecord::Key(StringView output) const {
    const String folded = Folded(output);
    const String base = Folded(outFolder_);
    return folded.compare(0, base.size(), base) == 0 ? folded.substr(base.size()) : folded;
}

void OutputRecord::Load(std::string_view text) {
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos)
            end = text.size();
        const String line = Widen(text.substr(start, end - start));
        start = end + 1;
        const size_t tab1 = line.find(u'\t');
        const size_t tab2 = tab1 == String::npos ? String::npos : line.find(u'\t', tab1 + 1);
        if (tab2 == String::npos)
            continue; // a line cut short by a batch that was killed while appending
        String settings = line.substr(tab2 + 1);
        if (!settings.empty() && settings.back() == u'\r')
            settings.pop_back();
        const String output = outFolder_ + line.substr(0, tab1);
        entries_[Key(output)] =
            RecordEntry{output, line.substr(tab1 + 1, tab2 - tab1 - 1), settings};
    }
}

std::string OutputRecord::Line(const RecordEntry& e) const {
    const String output =
        Key(e.output) == Folded(e.output) ? e.output : e.output.substr(outFolder_.size());
    return Narrow(OneField(output) + u"\t" + OneField(e.source) + u"\t" + OneField(e.settings)) +
           "\n";
}

const RecordEntry* OutputRecord::Find(StringView output) const {
    const auto it = entries_.find(Key(output));
    return it == entries_.end() ? nullptr : &it->second;
}

String SettingsText(StringView codec, StringView passThrough) {
    return String(codec) + String(passThrough);
}

String ConvertReason(bool outputExists, uint64_t outputWriteTime, uint64_t sourceWriteTime,
                     bool overwrite, const RecordEntry* made, StringView source,
                     StringView settings) {
    if (!outputExists)
        return u"new";
    if (overwrite)
        return u"-overwrite";
    if (outputWriteTime < sourceWriteTime)
        return u"the source is newer";
    if (made && !EqualsNoCase(made->source, source))
        return u"made from '" + made->source + u"'";
    if (made && made->settings != settings)
        return u"made with other settings (" + made->settings + u")";
    return String();
}

} // namespace wm
