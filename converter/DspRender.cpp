#include "converter/DspRender.h"

#include "contract/FormatRules.h"
#include "converter/AudioSources.h"
#include "converter/FileSinkStage.h"
#include "files/FileOps.h"
#include "files/Folders.h"
#include "plugins/EffectStage.h"
#include "process/Log.h"
#include "process/WinString.h"
#include "text/NumberText.h"

#include <objbase.h>

#include <cstdio>

namespace wm {

namespace {
constexpr const char* kContext = "DspRender::Run";
} // namespace

String DspTempName(const String& tempFolder) {
    GUID guid{};
    if (tempFolder.empty() || FAILED(CoCreateGuid(&guid)))
        return TempFile(tempFolder, u"", u"DSP");
    wchar_t fields[64];
    std::swprintf(fields, 64, L"%d%d%d.tmp", static_cast<int>(guid.Data1), guid.Data2, guid.Data3);
    return tempFolder + u"DSP" + FromW(fields);
}

void DspRender::Action(StringView text) {
    if (job_.parentMode)
        job_.host.ParentLine(ParentKeyword::Action, text);
}

// The bar's passes: decoding into the file, each effect over it, and the encoding after.
void DspRender::BeginPass(size_t index) {
    if (job_.bar)
        job_.bar->BeginPass(static_cast<uint32_t>(index),
                            static_cast<uint32_t>(chain_.Entries().size() + 2));
}

bool DspRender::Run() {
    if (!chain_.HasNonLive())
        return true;
    path_ = DspTempName(job_.tempFolder);
    Action(u"Rendering For DSPs...");
    BeginPass(0);
    const bool ok = RenderAll();
    if (ok)
        BeginPass(chain_.Entries().size() + 1);
    Action(u"");
    return ok;
}

bool DspRender::RenderAll() {
    if (path_.empty() || !DecodeToFile())
        return false;
    size_t pass = 0;
    for (DspEntry& entry : chain_.Entries()) {
        if (job_.host.QuitRequested())
            break;
        Action(u"Running DSP Effect " + entry.name);
        BeginPass(++pass);
        if (!ApplyEffect(entry))
            return false;
    }
    return true;
}

bool DspRender::DecodeToFile() {
    FileAccess file;
    auto failure = [this] {
        return u"Error writing to temporary file " + path_ + u": " + Win32ErrorText();
    };
    if (!file.Create(path_)) {
        LogError(failure(), kContext);
        return false;
    }
    FileSinkStage sink(file, job_.openInfo.format, failure);
    BlockStage* stages[] = {&sink};
    if (!Pump(job_.source, stages, {.keepTornBlocks = true}))
        return false;
    file.Close();
    UpdateOpenRecord(job_.openInfo.format);
    return true;
}

// The console's bar moves; the parent hears only the actions, its percent is the encoding's.
bool DspRender::Pump(BlockSource& from, std::span<BlockStage* const> stages,
                     PumpSettings settings) {
    settings.msLength = job_.openInfo.msLength;
    settings.bar = job_.bar;
    BlockPump pump(from, stages, job_.host, job_.status, settings);
    pump.Run();
    return !job_.status.Failed();
}

bool DspRender::ApplyEffect(DspEntry& entry) {
    if (entry.live)
        return ApplyLive(entry);
    if (!entry.binding->PassNonLive(path_.c_str(), &job_.openInfo.format, entry.settings.c_str(),
                                    nullptr))
        return DspChain::FailedCall(entry, u"DSP_PassNonLive");
    UpdateOpenRecord(job_.openInfo.format);
    return true;
}

bool DspRender::ApplyLive(DspEntry& entry) {
    entry.livePass = false; // applied here, so the per-block pass skips it
    if (!entry.binding->BeginConversion(&job_.conversion, entry.settings.c_str()))
        return DspChain::FailedCall(entry, u"DSP_BeginConversion");
    const String second = DspTempName(job_.tempFolder);
    FileAccess out;
    if (second.empty() || !out.Create(second)) {
        LogError(u"Error: Writing Temporary Rendered DSP file " + second, kContext);
        return false;
    }
    RenderedFileSource in(RenderedFileSource::Reader::Effect, job_.openInfo.msLength);
    EffectStage effect(entry);
    FileSinkStage sink(out, job_.openInfo.format, [&second] {
        return u"Error: Writing Temporary Rendered DSP file " + second;
    });
    BlockStage* stages[] = {&effect, &sink};
    bool fed = in.Open(path_, job_.openInfo.format);
    if (!fed)
        LogError(u"Error: Reading Temporary Rendered DSP file.", kContext);
    else
        fed = Pump(in, stages, {.publishBytes = false});
    in.Release();
    out.Close(); // an open file cannot be deleted or moved
    if (!fed) {
        DeleteFilePath(second);
        return false;
    }
    if (!ReplaceRendered(second))
        return false;
    UpdateOpenRecord(sink.LastFormat()); // an effect may have changed the rate or the format
    return true;
}

bool DspRender::ReplaceRendered(const String& second) {
    DeleteFilePath(path_);
    const bool moved = MoveWithRetry(second, path_, MOVEFILE_REPLACE_EXISTING, 2000, &job_.quit);
    if (!moved)
        LogError(u"Error: Copying Temporary Rendered Live-DSP file, over Temp Non-Live DSP file " +
                     path_,
                 kContext);
    DeleteFilePath(second);
    return moved;
}

void DspRender::UpdateOpenRecord(const WmWaveFormat& format) {
    job_.openInfo.format = format;
    const uint64_t bytes = FileSizeOfPath(path_, nullptr);
    job_.openInfo.byteLength = bytes;
    job_.openInfo.msLength = bytes * 1000 / FrameBytesPerSecond(format);
    LogLine(u"The rendered file holds " + IntToText(static_cast<int64_t>(bytes)) + u" bytes, " +
            IntToText(static_cast<int64_t>(job_.openInfo.msLength)) + u" ms.");
}

} // namespace wm
