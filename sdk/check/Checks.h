// The three drives: each loads the plug-in the way the host does and calls its entry points in
// the documented order, reporting every violation.
#pragma once

#include "sdk/check/CheckSupport.h"
#include "text/String.h"

namespace wm::check {

struct CheckJob {
    String library;  // the plug-in DLL, as typed
    String sample;   // a decoder's sample file, as typed; may be empty
    String settings; // an effect's settings text
    String options;  // an encoder's command line
};

void CheckDecoder(const CheckJob& job, Report& report);
void CheckEncoder(const CheckJob& job, Report& report);
void CheckEffect(const CheckJob& job, Report& report);

// Loads the library and creates an instance as the host does; `create` names the entry point.
template <class Binding>
bool Bind(Binding& plugin, const String& library, const char* create, Report& report) {
    CallGuard guard(create);
    if (plugin.Reload(library) && plugin.CreateInstance(HostContext()))
        return true;
    report.Violation("create", std::string("\"") + create + "\" returned no instance");
    return false;
}

// Every kind answers 0 for a value name it does not know.
template <class Binding> void CheckUnknownValue(Binding& plugin, Report& report) {
    PluginValue value{};
    CallGuard guard("Get of an unknown value name");
    if (plugin.Get(u"plugin-check: no such value", &value))
        report.Violation("unknown-value", "answers a value name it cannot know with non-zero: "
                                          "answer 0 for every name you do not know");
}

// ": <reason>" from the plug-in's "LastError", or nothing.
template <class Binding> std::string Reason(Binding& plugin, Report& report) {
    return ReasonSuffix([&](PluginValue* v) { return plugin.Get(WM_VALUE_LAST_ERROR, v); }, report);
}

} // namespace wm::check
