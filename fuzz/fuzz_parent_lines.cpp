// Any bytes as a converter's standard output, cut by the pipe into pieces of the size the first
// byte gives: the lines must not depend on the cuts, and each goes through the parent's reader.
#include "batch/ParentLines.h"
#include "fuzz/FuzzCheck.h"

#include <algorithm>
#include <vector>

using wm::fuzz::Check;

namespace {

struct Split {
    std::vector<wm::String> lines;
    wm::String rest;
};

Split SplitInPieces(const uint8_t* data, size_t size, size_t piece) {
    wm::Utf16LineSplitter splitter;
    Split split;
    for (size_t at = 0; at < size; at += piece) {
        splitter.Feed(data + at, std::min(piece, size - at));
        wm::String line;
        while (splitter.NextLine(line))
            split.lines.push_back(line);
    }
    split.rest = splitter.Rest();
    return split;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const size_t piece = size_t{data[0]} + 1;
    std::vector<uint8_t> stream(data + 1, data + size);
    const Split whole = SplitInPieces(stream.data(), stream.size(), stream.size() + 1);
    const Split cut = SplitInPieces(stream.data(), stream.size(), piece);
    Check(whole.lines == cut.lines && whole.rest == cut.rest, "the lines depend on the cuts");
    wm::ConverterReport report;
    size_t messages = 0;
    for (const wm::String& line : whole.lines) {
        Check(line.find(u'\n') == wm::String::npos, "a line holds a line end");
        messages += wm::TakeParentLine(line, report);
        wm::TakeErrorLine(line, report);
    }
    Check(report.filesWritten.size() <= messages, "more files than messages");
    const wm::String& error = report.firstError;
    Check(error.empty() || (error.back() != u' ' && error.back() != u'\r'),
          "an error reason ends in a space or a carriage return");
    return 0;
}
