// Scripted "Communicate" exchanges, shared by the test decoder and the test encoder: at a given
// stage the plug-in makes its requests in order, one per exchange, and logs every
// "Communicate" and "CommunicateResult" so that a test can check what the host relayed.
#pragma once

#include "TestPluginSupport.h"
#include "sdk/wavemill_plugin.h"

#include <functional>
#include <map>
#include <sstream>
#include <string_view>

namespace wmtest {

class ScriptedTalk {
  public:
    using LogLine = std::function<void(const std::string&)>;

    // One request: "<stage> <addressee> <verb> <value name> [novalue]"; "-" leaves a field
    // out (a null pointer), "novalue" leaves out the value pointer.
    void Add(const std::string& words) {
        std::istringstream in(words);
        std::string field[4], extra;
        in >> field[0] >> field[1] >> field[2] >> field[3] >> extra;
        Request r;
        for (int i = 0; i < 4; ++i) {
            r.missing[i] = field[i] == "-" || field[i].empty();
            r.text[i] = ToUtf16(field[i]);
        }
        r.noValue = extra == "novalue";
        requests_.push_back(r);
    }

    // "Communicate": the stage's next request into the record; 0 when the stage has none left.
    uint32_t Ask(PluginValue* record, const LogLine& log) {
        const std::string stage = ToUtf8(static_cast<const char16_t*>(record->pointer1));
        log("Communicate stage=" + stage + " exchange=" + std::to_string(record->value1) +
            " noerror=" + std::to_string(record->value2));
        for (; cursor_[stage] < requests_.size(); ++cursor_[stage]) {
            Request& r = requests_[cursor_[stage]];
            if (r.missing[0] || ToUtf8(r.text[0].c_str()) != stage)
                continue;
            ++cursor_[stage];
            r.value = PluginValue{};
            record->pointer1 = Field(r, 1);
            record->pointer2 = Field(r, 2);
            record->pointer3 = Field(r, 3);
            record->pointer4 = r.noValue ? nullptr : &r.value;
            current_ = &r;
            return 1;
        }
        return 0;
    }

    // "CommunicateResult": logs the relay's result and, for an answered "get", the text the
    // addressee put in the value's first pointer.
    void Result(const PluginValue* record, const LogLine& log) const {
        std::string line = "CommunicateResult exchange=" + std::to_string(record->value1) +
                           " result=" + std::to_string(record->value2);
        if (current_ && current_->value.pointer1)
            line += " got=" + ToUtf8(static_cast<const char16_t*>(current_->value.pointer1));
        log(line);
    }

  private:
    struct Request {
        std::u16string text[4]; // stage, addressee, verb, value name
        bool missing[4] = {};
        bool noValue = false;
        PluginValue value{}; // what the addressee gets or sets
    };

    static void* Field(Request& r, int i) { return r.missing[i] ? nullptr : r.text[i].data(); }

    std::vector<Request> requests_;
    std::map<std::string, size_t> cursor_; // stage -> first request not yet made
    const Request* current_ = nullptr;
};

} // namespace wmtest
