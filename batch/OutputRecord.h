// What each output of a batch was made from and with, kept as lines in a file in the output
// folder. A rerun tells its own outputs from sources by it (outputs written next to the sources
// are not converted again as sources) and reconverts an output made with other settings.
// Portable: the caller reads and appends the file.
#pragma once

#include "text/String.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace wm {

// The record's file name, in the output folder.
inline constexpr StringView kRecordFileName = u".wmbatch-record";

struct RecordEntry {
    String output;   // full path
    String source;   // full path
    String settings; // the codec and the options handed to the converter
};

class OutputRecord {
  public:
    // outFolder: full path; entries are kept relative to it, so a moved tree keeps its record.
    explicit OutputRecord(StringView outFolder);

    // The file's text: UTF-8 lines "output<TAB>source<TAB>settings", the last for an output wins.
    void Load(std::string_view text);
    // The line that records an entry, ending in a line break.
    std::string Line(const RecordEntry& entry) const;

    // The entry for an output (names compared as Windows does), or null.
    const RecordEntry* Find(StringView output) const;

  private:
    String Key(StringView output) const;

    String outFolder_; // ending in "\"
    std::map<String, RecordEntry> entries_;
};

// The settings a copy made by -copysame is recorded with.
inline constexpr StringView kCopySettings = u"copy";

// The settings text a record keeps: "FLAC" followed by the options handed on.
String SettingsText(StringView codec, StringView passThrough);

// Why a source is converted, or empty when its existing output is kept. An output is kept when
// it exists, is not older than its source and, when the record knows it, was made from this
// source with these settings. Times are any monotonic file-time unit.
String ConvertReason(bool outputExists, uint64_t outputWriteTime, uint64_t sourceWriteTime,
                     bool overwrite, const RecordEntry* made, StringView source,
                     StringView settings);

} // namespace wm
