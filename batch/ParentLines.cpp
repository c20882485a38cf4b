#include "batch/ParentLines.h"

#include "text/NumberText.h"

namespace wm {

namespace {

constexpr StringView kPrefix = u"MSGTO: Vrx: ";

bool After(StringView line, StringView key, StringView& rest) {
    if (line.substr(0, key.size()) != key)
        return false;
    rest = line.substr(key.size());
    return true;
}

} // namespace

void Utf16LineSplitter::Feed(const void* bytes, size_t size) {
    const auto* b = static_cast<const uint8_t*>(bytes);
    if (start_ > 0) {
        text_.erase(0, start_);
        start_ = 0;
    }
    for (size_t i = 0; i < size; ++i) {
        if (!oddByte_) {
            low_ = b[i];
            oddByte_ = true;
        } else {
            text_ += static_cast<char16_t>(low_ | (b[i] << 8));
            oddByte_ = false;
        }
    }
}

bool Utf16LineSplitter::NextLine(String& line) {
    const size_t end = text_.find(u'\n', start_);
    if (end == String::npos)
        return false;
    size_t stop = end;
    if (stop > start_ && text_[stop - 1] == u'\r')
        --stop;
    line.assign(text_, start_, stop - start_);
    start_ = end + 1;
    return true;
}

String Utf16LineSplitter::Rest() {
    String rest = text_.substr(start_);
    text_.clear();
    start_ = 0;
    return rest;
}

// The line without its "  [context]" part and trailing blanks: what the user reads.
String WithoutContext(StringView line) {
    const size_t context = line.rfind(u"  [");
    if (context != StringView::npos && !line.empty() && line.back() == u']')
        line = line.substr(0, context);
    while (!line.empty() && (line.back() == u' ' || line.back() == u'\r'))
        line.remove_suffix(1);
    return String(line);
}

bool TakeParentLine(StringView line, ConverterReport& report) {
    StringView m;
    if (!After(line, kPrefix, m)) {
        if (const String text = WithoutContext(line); !text.empty())
            report.information.push_back(text);
        return false;
    }
    StringView arg;
    if (After(m, u"msLen: ", arg))
        report.lengthMs = TextToInt(arg);
    else if (After(m, u"PCDone: ", arg))
        report.percent = static_cast<int>(TextToInt(arg));
    else if (After(m, u"FileName: ", arg))
        report.filesWritten.emplace_back(arg);
    else if (After(m, u"Action: ", arg))
        report.action.assign(arg);
    return true;
}

void TakeErrorLine(StringView line, ConverterReport& report) {
    if (report.firstError.empty())
        report.firstError = WithoutContext(line);
}

} // namespace wm
