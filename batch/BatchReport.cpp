#include "batch/BatchReport.h"

#include "text/NumberText.h"

#include <cstdio>

namespace wm {

namespace {

StringView StatusWord(FileStatus s) {
    switch (s) {
    case FileStatus::kConverted:
        return u"converted";
    case FileStatus::kCopied:
        return u"copied";
    case FileStatus::kSkipped:
        return u"skipped";
    case FileStatus::kFailed:
        break;
    }
    return u"failed";
}

String CsvField(StringView text) {
    if (text.find_first_of(u",\"\r\n") == StringView::npos)
        return String(text);
    String quoted = u"\"";
    for (char16_t c : text)
        quoted += c == u'"' ? String(u"\"\"") : String(1, c);
    return quoted + u"\"";
}

String JsonString(StringView text) {
    String out = u"\"";
    for (char16_t c : text) {
        if (c == u'"' || c == u'\\') {
            out += u'\\';
            out += c;
        } else if (c < 0x20) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\u%04x", static_cast<unsigned>(c));
            out += Widen(hex);
        } else {
            out += c;
        }
    }
    return out + u"\"";
}

// Seconds with three decimals, always with a "." whatever the user's number format.
String PlainSeconds(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", seconds);
    return Widen(text);
}

String Count(size_t n) {
    return IntToText(static_cast<int64_t>(n));
}

} // namespace

FileOutcome Outcome(StringView input, StringView output, FileStatus status, StringView reason) {
    FileOutcome o;
    o.input = input;
    o.output = output;
    o.status = status;
    o.reason = reason;
    return o;
}

String InUserNames(StringView text, StringView temporaryOutput, StringView output) {
    String named(text);
    if (temporaryOutput.empty())
        return named;
    for (size_t at = named.find(temporaryOutput); at != String::npos;
         at = named.find(temporaryOutput, at + output.size()))
        named.replace(at, temporaryOutput.size(), output);
    return named;
}

String ReportHeader(ReportFormat format) {
    return format == ReportFormat::kCsv ? u"input,output,status,reason,audio_ms,seconds,bytes,notes"
                                        : String();
}

String ReportLine(const FileOutcome& o, ReportFormat format) {
    const String audio = o.audioMs < 0 ? String() : IntToText(o.audioMs);
    const String bytes = IntToText(static_cast<int64_t>(o.bytes));
    String notes;
    for (const String& note : o.notes)
        notes += (notes.empty() ? u"" : u"; ") + note;
    if (format == ReportFormat::kCsv)
        return CsvField(o.input) + u"," + CsvField(o.output) + u"," + String(StatusWord(o.status)) +
               u"," + CsvField(o.reason) + u"," + audio + u"," + PlainSeconds(o.seconds) + u"," +
               bytes + u"," + CsvField(notes);
    return u"{\"input\":" + JsonString(o.input) + u",\"output\":" + JsonString(o.output) +
           u",\"status\":\"" + String(StatusWord(o.status)) + u"\",\"reason\":" +
           JsonString(o.reason) + u",\"audio_ms\":" + (audio.empty() ? u"null" : audio) +
           u",\"seconds\":" + PlainSeconds(o.seconds) + u",\"bytes\":" + bytes + u",\"notes\":" +
           JsonString(notes) + u"}";
}

StringList SummaryLines(const std::vector<FileOutcome>& outcomes) {
    size_t converted = 0, copied = 0, skipped = 0, failed = 0;
    for (const FileOutcome& o : outcomes)
        (o.status == FileStatus::kConverted ? converted
         : o.status == FileStatus::kCopied  ? copied
         : o.status == FileStatus::kSkipped ? skipped
                                            : failed)++;
    StringList lines{u"Converted " + Count(converted) +
                     (copied ? u", copied " + Count(copied) : String()) + u", skipped " +
                     Count(skipped) + u", failed " + Count(failed) + u"."};
    if (converted == 0 && copied == 0 && failed == 0 && skipped > 0)
        lines.push_back(u"Nothing to convert: every output is up to date or skipped.");
    for (const FileOutcome& o : outcomes)
        if (o.status == FileStatus::kFailed)
            lines.push_back(u"  FAILED " + o.input + u": " + o.reason);
    return lines;
}

int BatchExitStatus(const std::vector<FileOutcome>& outcomes) {
    for (const FileOutcome& o : outcomes)
        if (o.status == FileStatus::kFailed)
            return 1;
    return 0;
}

String PlanLine(StringView batchProgram, StringView codec, StringView outFolder, StringView input,
                StringView output, StringView passThrough) {
    return u"\"" + String(batchProgram) + u"\"" + OptionText(u"convert_to", codec) +
           OptionText(u"out", outFolder) + OptionText(u"file", input) + OptionText(u"as", output) +
           String(passThrough);
}

} // namespace wm
