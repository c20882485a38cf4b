#include "protocol/ParentLine.h"

namespace wm {

StringView KeywordText(ParentKeyword keyword) {
    switch (keyword) {
    case ParentKeyword::MsLen:
        return u"msLen: ";
    case ParentKeyword::Action:
        return u"Action: ";
    case ParentKeyword::ActionInput:
        return u"ActionInput: ";
    case ParentKeyword::ActionOutput:
        return u"ActionOutput: ";
    case ParentKeyword::PCDone:
        return u"PCDone: ";
    case ParentKeyword::FileName:
        return u"FileName: ";
    }
    return u"";
}

String ParentLineText(ParentKeyword keyword, StringView text) {
    String line(kParentLinePrefix);
    line += KeywordText(keyword);
    line += text;
    return line;
}

ParsedParentLine ParseParentLine(StringView line) {
    ParsedParentLine parsed;
    if (!line.starts_with(kParentLinePrefix))
        return parsed;
    parsed.message = true;
    parsed.text = line.substr(kParentLinePrefix.size());
    for (ParentKeyword keyword : kParentKeywords) {
        // Each keyword ends in ": ", so none is the start of another ("Action: ", "ActionInput: ").
        if (parsed.text.starts_with(KeywordText(keyword))) {
            parsed.keyword = keyword;
            parsed.text.remove_prefix(KeywordText(keyword).size());
            break;
        }
    }
    return parsed;
}

} // namespace wm
