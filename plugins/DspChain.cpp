#include "plugins/DspChain.h"

#include "contract/FormatRules.h"

#include "plugins/PluginFolder.h"
#include "plugins/PluginReason.h"
#include "process/Log.h"

namespace wm {

namespace {
constexpr const char* kLoadContext = "TwWavemill::LoadDSPEffects";

uint32_t AskWithSettings(clTwDSP& dsp, const char16_t* name, String& settings) {
    PluginValue value{};
    value.pointer1 = settings.data();
    return dsp.Get(name, &value);
}
} // namespace

DspChain::DspChain(String programFolder, void* hostContext, uint32_t batchId)
    : programFolder_(std::move(programFolder)), hostContext_(hostContext), batchId_(batchId) {}

void DspChain::Add(String name, String settings) {
    DspEntry entry;
    entry.name = std::move(name);
    entry.settings = std::move(settings);
    entries_.push_back(std::move(entry));
}

String DspChain::Names() const {
    String names;
    for (const DspEntry& e : entries_)
        names += (names.empty() ? u"" : u", ") + e.name;
    return names;
}

String DspChain::LibraryPath(const String& name) const {
    return PluginFolder(programFolder_, u"DSPs") + name + u".dll";
}

bool DspChain::Load(bool* replayGain) {
    *replayGain = false;
    // Last to first, so that dropping an entry leaves the ones still to visit in place.
    for (size_t i = entries_.size(); i-- > 0;) {
        bool keep = true;
        if (!LoadEntry(entries_[i], replayGain, &keep))
            return false;
        if (!keep)
            entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return true;
}

bool DspChain::LoadEntry(DspEntry& entry, bool* replayGain, bool* keep) {
    const String path = LibraryPath(entry.name);
    clTwDSP scratch;
    if (!scratch.Reload(path) || !scratch.CreateInstance(hostContext_)) {
        LogError(u"Error: Unable to load DSP Effect '" + entry.name + u"'.", kLoadContext);
        return false;
    }
    entry.live = AskWithSettings(scratch, WM_VALUE_IS_LIVE, entry.settings) != 0;
    if (AskWithSettings(scratch, WM_VALUE_SEND_OVER_REPLAYGAIN_TAGS, entry.settings))
        *replayGain = true;
    entry.changesLevel = AskWithSettings(scratch, WM_VALUE_CHANGES_LEVEL, entry.settings) != 0;
    *keep = entry.binding->Reload(path) && entry.binding->CreateInstance(hostContext_);
    if (*keep && batchId_) {
        PluginValue value{};
        value.value2 = batchId_;
        entry.binding->Set(WM_VALUE_BATCH_ID, &value);
    }
    scratch.Unload();
    return true;
}

bool DspChain::ChangesLevel() const {
    for (const DspEntry& e : entries_)
        if (e.changesLevel)
            return true;
    return false;
}

void DspChain::EchoSettings(const String& codec, const String& encoderCommandLine) const {
    LogLine(u"Encoding To: " + codec);
    LogLine(u"Encoder Cmd Line: " + encoderCommandLine);
    if (entries_.empty())
        return;
    LogLine(u"DSP Effects:");
    for (const DspEntry& e : entries_)
        LogLine(u"    " + e.name + (e.live ? u"" : u" (non-live)") + u": " + e.settings);
    LogLine(u"");
}

bool DspChain::HasNonLive() const {
    for (const DspEntry& e : entries_)
        if (!e.live)
            return true;
    return false;
}

bool DspChain::HasLivePass() const {
    for (const DspEntry& e : entries_)
        if (e.live && e.livePass)
            return true;
    return false;
}

bool DspChain::FailedCall(DspEntry& entry, const char16_t* call) {
    LogError(WithReason(u"Error: DSP Effect '" + entry.name + u"' failed in " + call + u".",
                        entry.binding->LastError()),
             "DspChain::FailedCall");
    return false;
}

bool DspChain::BeginLive(ConversionInfo& conversion) {
    bool ok = true;
    for (DspEntry& e : entries_)
        if (e.live && e.livePass && !e.binding->BeginConversion(&conversion, e.settings.c_str()))
            ok = FailedCall(e, u"DSP_BeginConversion");
    return ok;
}

bool DspChain::Pass(AudioBlockInfo& block) {
    bool ok = true;
    for (DspEntry& e : entries_) {
        if (!e.live || !e.livePass)
            continue;
        block.actionText = nullptr;
        if (!PassOne(e, block))
            ok = false;
    }
    return ok;
}

bool DspChain::PassOne(DspEntry& entry, AudioBlockInfo& block) {
    if (!entry.binding->PassAudioBlock(&block))
        return FailedCall(entry, u"DSP_PassAudioBlock");
    if (IsWholeFrames(block.length, block.format))
        return true;
    LogError(u"Error: DSP Effect '" + entry.name +
                 u"' returned audio that is not a whole number of sample frames.",
             "DspChain::PassOne");
    return false;
}

bool DspChain::EndLive(ConversionInfo& conversion) {
    bool ok = true;
    for (DspEntry& e : entries_)
        if (e.live && !e.binding->EndConversion(&conversion))
            ok = FailedCall(e, u"DSP_EndConversion");
    return ok;
}

bool DspChain::AfterConversion(const ConversionInfo& conversion, const StringList& outputFiles) {
    bool ok = true;
    for (DspEntry& e : entries_) {
        for (const String& name : outputFiles) {
            ConversionInfo copy = conversion;
            copy.outputPath = name.c_str();
            if (!e.binding->AfterConversion(&copy))
                ok = FailedCall(e, u"DSP_AfterConversion");
        }
    }
    return ok;
}

} // namespace wm
