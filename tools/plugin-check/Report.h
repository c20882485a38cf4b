// The validator's output: each violation once, with its rule's id, in plain words; notes and
// passes between them. The exit status follows from the count.
#pragma once

#include "sdk/wavemill_plugin.h"
#include "text/String.h"
#include "tools/plugin-check/Rules.h"

#include <functional>
#include <set>
#include <string>

namespace wm::check {

class Report {
  public:
    // A rule broken ("FAIL  [id] text") or, for a warning rule, worth a word ("warn  [id] text").
    // Each rule is reported once per context, or once per subject (the export named) when given.
    void Violation(Rule rule, const std::string& text, const std::string& subject = {});
    void Note(const std::string& text);
    void Passed(const std::string& text);
    int Violations() const { return violations_; }
    // What the lines are about ("the copy cut mid-frame"); a rule broken there is its own.
    void SetContext(std::string context) { context_ = std::move(context); }
    // Only this rule is reported; the ones that end the check (a crash, a hang) always are.
    void LimitTo(const RuleInfo* only) { only_ = only; }
    // The FAIL line of a rule that ends the process, without allocating (the heap may be what
    // the plug-in damaged): written straight to standard output with the final count.
    void FinalViolation(Rule rule, const char* text);

  private:
    std::string InContext(const std::string& text) const;

    std::set<std::string> broken_; // a rule broken on every block is reported once
    int violations_ = 0;
    std::string context_;
    const RuleInfo* only_ = nullptr;
};

// Sets the report's context for one scope.
class ReportContext {
  public:
    ReportContext(Report& report, std::string context) : report_(report) {
        report_.SetContext(std::move(context));
    }
    ~ReportContext() { report_.SetContext({}); }
    ReportContext(const ReportContext&) = delete;
    ReportContext& operator=(const ReportContext&) = delete;

  private:
    Report& report_;
};

// `--list`: the rule table, one rule a line.
void PrintRuleTable();

// The plug-in's "LastError" after a failed call, as ": <reason>" for a violation line.
std::string ReasonSuffix(const std::function<uint32_t(PluginValue*)>& askLastError, Report& report);

// " (block-align): ", the name of the contract's fault, to lead its plain words.
std::string FaultOf(const WmWaveFormat& format);
std::string FaultOf(const void* tagBlock, size_t size);

std::string Quoted(StringView text);

} // namespace wm::check
