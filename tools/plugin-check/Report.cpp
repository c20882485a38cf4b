#include "tools/plugin-check/Report.h"

#include "contract/FormatRules.h"
#include "contract/TagBlockRule.h"

#include <windows.h>

#include <cstdio>

namespace wm::check {

namespace {

void Print(const char* tag, const std::string& text) {
    std::printf("%-5s %s\n", tag, text.c_str());
    std::fflush(stdout);
}

} // namespace

std::string Report::InContext(const std::string& text) const {
    return context_.empty() ? text : "with " + context_ + ": " + text;
}

void Report::Violation(Rule rule, const std::string& text, const std::string& subject) {
    const RuleInfo& info = InfoOf(rule);
    if (only_ && only_ != &info)
        return;
    const std::string key = std::string(info.id) + "/" + subject;
    // Broken already outside any context: found again in one, it only repeats itself.
    if (!context_.empty() && broken_.count("/" + key))
        return;
    if (!broken_.insert(context_ + "/" + key).second)
        return;
    const bool fails = info.severity == Severity::Fail;
    violations_ += fails ? 1 : 0;
    Print(fails ? "FAIL" : "warn", "[" + std::string(info.id) + "] " + InContext(text));
}

void Report::FinalViolation(Rule rule, const char* text) {
    const int count = violations_ + 1;
    char line[600];
    const int n = std::snprintf(line, sizeof line, "FAIL  [%s] %s%s%s%s\n%d violation%s\n",
                                InfoOf(rule).id, context_.empty() ? "" : "with ", context_.c_str(),
                                context_.empty() ? "" : ": ", text, count, count == 1 ? "" : "s");
    std::fflush(stdout);
    DWORD written = 0;
    ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), line,
                static_cast<DWORD>(n < static_cast<int>(sizeof line) ? n : sizeof line - 1),
                &written, nullptr);
}

void Report::Note(const std::string& text) {
    Print("note", InContext(text));
}

void Report::Passed(const std::string& text) {
    Print("ok", text);
}

void PrintRuleTable() {
    for (const RuleInfo& info : RuleTable())
        std::printf("%-24s %-15s %s%s\n", info.id, KindLabel(info.kind),
                    info.severity == Severity::Warning ? "(warning) " : "", info.summary);
}

std::string ReasonSuffix(const std::function<uint32_t(PluginValue*)>& askLastError,
                         Report& report) {
    PluginValue value{};
    if (!askLastError(&value))
        return {};
    const auto* text = static_cast<const char16_t*>(value.pointer1);
    if (!text || !*text) {
        report.Violation(Rule::LastErrorEmpty,
                         "\"LastError\" was answered without a text in pointer1: answer 0 when "
                         "there is nothing to say");
        return {};
    }
    const StringView reason(text);
    if (reason.find_first_of(u"\r\n") != StringView::npos)
        report.Violation(Rule::LastErrorLines, "\"LastError\" holds a line break; the host appends "
                                               "it to one error line");
    return ": " + Narrow(reason);
}

std::string FaultOf(const WmWaveFormat& format) {
    return std::string(" (") + FormatFaultName(FindFormatFault(format)) + "): ";
}

std::string FaultOf(const void* tagBlock, size_t size) {
    return std::string(" (") + TagBlockFaultName(FindTagBlockFault(tagBlock, size)) + "): ";
}

std::string Quoted(StringView text) {
    return "'" + Narrow(text) + "'";
}

} // namespace wm::check
