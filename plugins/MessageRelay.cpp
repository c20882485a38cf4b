#include "plugins/MessageRelay.h"

#include "process/Log.h"
#include "tags/IDTagSet.h"
#include "text/NumberText.h"

namespace wm {

namespace {

PluginValue Question(uint32_t exchange, const ConversionInfo& conversion, const char16_t* stage) {
    PluginValue value{};
    value.value1 = exchange;
    value.value2 = conversion.runError ? 0 : 1;
    value.pointer1 = const_cast<char16_t*>(stage);
    return value;
}

StringView Text(const void* pointer) {
    return pointer ? StringView(static_cast<const char16_t*>(pointer)) : StringView();
}

} // namespace

template <class Binding> uint32_t MessageRelay::Turn(Binding& plugin, const char16_t* stage) {
    uint32_t answer = 0;
    for (uint32_t exchange = 0;; ++exchange) {
        PluginValue value = Question(exchange, conversion_, stage);
        answer = plugin.Get(WM_VALUE_COMMUNICATE, &value);
        if (!answer)
            return answer;
        value.value2 = Relay(value);
        plugin.Set(WM_VALUE_COMMUNICATE_RESULT, &value);
    }
}

uint32_t MessageRelay::Communicate(const char16_t* stage) {
    if (decoder_)
        Turn(*decoder_, stage);
    return Turn(encoder_, stage);
}

template <class Binding>
uint32_t MessageRelay::GetOrSet(Binding& plugin, StringView verb, const PluginValue& request) {
    auto* value = static_cast<PluginValue*>(request.pointer4);
    const auto* name = static_cast<const char16_t*>(request.pointer3);
    if (EqualsNoCase(verb, u"get"))
        return plugin.Get(name, value);
    if (EqualsNoCase(verb, u"set"))
        return plugin.Set(name, value);
    return 0;
}

uint32_t MessageRelay::Relay(const PluginValue& request) {
    if (!request.pointer2 || !request.pointer3 || !request.pointer4)
        return 0;
    const StringView to = Text(request.pointer1), verb = Text(request.pointer2);
    if (EqualsNoCase(to, u"Decoder"))
        return decoder_ ? GetOrSet(*decoder_, verb, request) : 0;
    if (EqualsNoCase(to, u"Encoder"))
        return GetOrSet(encoder_, verb, request);
    return 0; // "Wavemill" and anyone else: nothing to do
}

StringList CollectOutputNames(const ConversionInfo& conversion, const String& outputPath,
                              FlowHost* parent) {
    StringList names;
    if (conversion.secondData && conversion.secondSize) {
        IDTagSet reported;
        reported.Deserialize(conversion.secondData, conversion.secondSize);
        for (int i = 1;; ++i) {
            String name = reported.GetValue(u"FileName" + IntToText(i));
            if (name.empty())
                break;
            names.push_back(std::move(name));
        }
    }
    if (names.empty())
        return {outputPath};
    LogLine(u"Multi-FileNames Reported Back to Wavemill:");
    for (const String& name : names) {
        if (!parent)
            continue;
        LogLine(name);
        parent->ParentLine(ParentKeyword::FileName, name);
    }
    LogLine(u"");
    return names;
}

} // namespace wm
