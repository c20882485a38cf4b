// The three drives: each loads the plug-in the way the host does and calls its entry points in
// the documented order, reporting every violation.
#pragma once

#include "contract/BlockRules.h"
#include "contract/FormatRules.h"
#include "contract/TagBlockRule.h"
#include "plugins/clTwDSP.h"
#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"
#include "text/String.h"
#include "tools/plugin-check/CallGuard.h"
#include "tools/plugin-check/Memory.h"
#include "tools/plugin-check/Report.h"
#include "tools/plugin-check/Samples.h"
#include "tools/plugin-check/WorkFiles.h"

#include <type_traits>
#include <vector>

namespace wm::check {

struct CheckJob {
    String library;              // the plug-in DLL, as typed
    std::vector<String> samples; // a decoder's sample files, as typed; may be none
    String settings;             // an effect's settings text
    String options;              // an encoder's command line
};

void CheckDecoder(const CheckJob& job, Report& report);
void CheckEncoder(const CheckJob& job, Report& report);
void CheckEffect(const CheckJob& job, Report& report);
// An encoder's output as the installed decoder of its extension reads it.
struct ReadBack {
    bool found = false; // an installed decoder reads the extension
    bool read = false;  // and read the output to its end
    String decoder;     // "decoder\WavDecoder.dll"
    std::vector<uint8_t> audio;
    WmWaveFormat format{};
    std::string why; // why it could not be read
    StringList information;
};
ReadBack ReadOutputBack(const String& output);
// Reads an encoder's output back through the installed decoder of its extension and compares
// the audio with what was encoded; a length the encoder's own information lines explain (a
// frame too small for the data a decoder trims by) is a note.
void CheckReadBack(const String& output, const std::vector<uint8_t>& audio,
                   const WmWaveFormat& format, const StringList& encoderInformation, bool lossless,
                   Report& report);

// Asks an encoder, before it begins, to decode its own output for the peak ("DecodedPeak");
// true when it takes the request.
bool AskDecodedPeak(clTwEncoder& encoder);
// Once it has ended: the peak it answers against the peak of its output read back.
void CheckDecodedPeak(clTwEncoder& encoder, const ReadBack& read, Report& report);

template <class Binding> constexpr const char* DestroyCallOf() {
    if constexpr (std::is_same_v<Binding, clTwDecoder>)
        return "Destroy";
    else if constexpr (std::is_same_v<Binding, clTwEncoder>)
        return "ENC_Destroy";
    else
        return "DSP_Destroy";
}

// A binding whose instance is destroyed inside a call guard when it goes, so that a destroy
// call that hangs or crashes is named like any other call.
template <class Binding> class Guarded : public Binding {
  public:
    ~Guarded() override {
        CallGuard guard(DestroyCallOf<Binding>());
        this->Unload();
    }
};

// Loads the library and creates an instance as the host does; `create` names the entry point.
template <class Binding>
bool Bind(Binding& plugin, const String& library, const char* create, Report& report) {
    CallGuard guard(create);
    if (plugin.Reload(library) && plugin.CreateInstance(HostContext()))
        return true;
    report.Violation(Rule::Create, std::string("\"") + create + "\" returned no instance");
    return false;
}

// Every kind answers 0 for a value name it does not know; `consequence` says what the host
// makes of a yes.
template <class Binding>
void CheckUnknownValue(Binding& plugin, Report& report, const std::string& consequence = {}) {
    PluginValue value{};
    CallGuard guard("Get of an unknown value name");
    if (plugin.Get(u"plugin-check: no such value", &value))
        report.Violation(Rule::UnknownValue, "answers a value name it cannot know with non-zero: "
                                             "answer 0 for every name you do not know" +
                                                 consequence);
}

// The host asks "Communicate" at a stage until the answer is 0, with no limit of its own.
constexpr uint32_t kMaxExchanges = 1000;
template <class Binding>
void CheckCommunicate(Binding& plugin, const char16_t* stage, Report& report) {
    for (uint32_t exchange = 0; exchange < kMaxExchanges; ++exchange) {
        PluginValue value{};
        value.value1 = exchange;
        value.value2 = 1;
        value.pointer1 = const_cast<char16_t*>(stage);
        CallGuard guard("Get \"Communicate\"");
        if (!plugin.Get(WM_VALUE_COMMUNICATE, &value))
            return;
        value.value2 = 0; // plugin-check carries no requests: every one is answered 0
        CallGuard result("Set \"CommunicateResult\"");
        plugin.Set(WM_VALUE_COMMUNICATE_RESULT, &value);
    }
    report.Violation(Rule::CommunicateEndless,
                     "answered \"Communicate\" at \"" + Narrow(stage) + "\" non-zero " +
                         std::to_string(kMaxExchanges) +
                         " times in a row: the host asks until the answer is 0, "
                         "with no limit, so the run would never end");
}

// ": <reason>" from the plug-in's "LastError", or nothing.
template <class Binding> std::string Reason(Binding& plugin, Report& report) {
    return ReasonSuffix(
        [&](PluginValue* v) {
            CallGuard guard("Get \"LastError\"");
            return plugin.Get(WM_VALUE_LAST_ERROR, v);
        },
        report);
}

// A refusal is the plug-in's right when it says why; the host appends "LastError" to its error
// line, which without it would not say what went wrong.
template <class Binding>
void RequireReason(Binding& plugin, const std::string& refusal, Report& report) {
    const std::string reason = Reason(plugin, report);
    if (reason.empty())
        report.Violation(Rule::LastErrorMissing,
                         refusal + ": no reason in \"LastError\", so the host's error line "
                                   "would not say why");
    else
        report.Note(refusal + reason);
}

// A plug-in may refuse a format other than the plain one when it says why.
template <class Binding>
void NoteFormatRefusal(Binding& plugin, const std::string& call, const WmWaveFormat& format,
                       Report& report) {
    const std::string reason = Reason(plugin, report);
    if (reason.empty())
        report.Violation(Rule::FormatRefusedSilently,
                         call + " refused " + Describe(format) +
                             " without a reason in \"LastError\": the host's error line would "
                             "not say why");
    else
        report.Note(call + " refuses " + Describe(format) + reason);
}

} // namespace wm::check
