#include "batch/ParentLines.h"

#include "protocol/ParentLine.h"
#include "text/NumberText.h"

namespace wm {

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
    const ParsedParentLine parsed = ParseParentLine(line);
    if (!parsed.message) {
        if (const String text = WithoutContext(line); !text.empty())
            report.information.push_back(text);
        return false;
    }
    if (!parsed.keyword)
        return true; // a keyword of a later converter: nothing to take
    switch (*parsed.keyword) {
    case ParentKeyword::MsLen:
        report.lengthMs = TextToInt(parsed.text);
        break;
    case ParentKeyword::PCDone:
        report.percent = static_cast<int>(TextToInt(parsed.text));
        break;
    case ParentKeyword::FileName:
        report.filesWritten.emplace_back(parsed.text);
        break;
    case ParentKeyword::Action:
        report.action.assign(parsed.text);
        break;
    case ParentKeyword::ActionInput: // the batch shows its own names
    case ParentKeyword::ActionOutput:
        break;
    }
    return true;
}

void TakeErrorLine(StringView line, ConverterReport& report) {
    if (report.firstError.empty())
        report.firstError = WithoutContext(line);
}

} // namespace wm
