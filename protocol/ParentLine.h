// The lines a converter writes for its parent on standard output: "MSGTO: Vrx: ", a keyword and
// its text. One writer for the converter and one parser for a parent. Portable.
#pragma once

#include "text/String.h"

#include <optional>

namespace wm {

inline constexpr StringView kParentLinePrefix = u"MSGTO: Vrx: ";

enum class ParentKeyword {
    MsLen,        // the source's length in ms
    Action,       // what the run does now ("Encoding 'x.mp3'"; empty: nothing)
    ActionInput,  // the current input's name, when it changes
    ActionOutput, // the current output's name, when it changes
    PCDone,       // "42 %"
    FileName,     // one file the encoder wrote
};

inline constexpr ParentKeyword kParentKeywords[] = {
    ParentKeyword::MsLen,        ParentKeyword::Action, ParentKeyword::ActionInput,
    ParentKeyword::ActionOutput, ParentKeyword::PCDone, ParentKeyword::FileName};

// The keyword as it stands in a line, with its ": ": "msLen: ".
StringView KeywordText(ParentKeyword keyword);

// "MSGTO: Vrx: " + keyword + text, without the line end.
String ParentLineText(ParentKeyword keyword, StringView text);

struct ParsedParentLine {
    bool message = false;                 // the line begins with "MSGTO: Vrx: "
    std::optional<ParentKeyword> keyword; // a keyword known here
    StringView text; // into the line: after the keyword, after the prefix when unknown
};

// Any line: one that is not a message (an information line) has message false.
ParsedParentLine ParseParentLine(StringView line);

} // namespace wm
