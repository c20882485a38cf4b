// Any UTF-16LE text as one line a parent reads: the parser takes every input, and what it makes
// of a message is exactly what the writer would have written.
#include "fuzz/FuzzCheck.h"
#include "protocol/ParentLine.h"

using wm::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    wm::String line(size / 2, u'\0');
    for (size_t i = 0; i < line.size(); ++i)
        line[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
    const wm::ParsedParentLine parsed = wm::ParseParentLine(line);
    if (!parsed.message) {
        Check(!line.starts_with(wm::kParentLinePrefix), "a message taken for information");
        Check(parsed.text.empty() && !parsed.keyword, "information with a keyword or text");
        return 0;
    }
    // The text is the line's own end, not a copy.
    Check(parsed.text.data() + parsed.text.size() == line.data() + line.size(),
          "the text is not the end of the line");
    if (parsed.keyword)
        Check(wm::ParentLineText(*parsed.keyword, parsed.text) == line,
              "the writer does not give the line back");
    else
        Check(wm::String(wm::kParentLinePrefix) + wm::String(parsed.text) == line,
              "an unknown keyword loses text");
    for (wm::ParentKeyword keyword : wm::kParentKeywords)
        Check(parsed.keyword || !parsed.text.starts_with(wm::KeywordText(keyword)),
              "a known keyword left unparsed");
    return 0;
}
