#include "plugins/DspRender.h"

#include "contract/FormatRules.h"

#include "files/FileOps.h"
#include "files/Folders.h"
#include "process/Log.h"
#include "process/WinString.h"

#include <objbase.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace wm {

namespace {
constexpr const char* kContext = "TwWavemill::HandleNonLiveDSPs";
constexpr uint64_t kChunkMs = 500;
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
        job_.host.ParentLine(u"Action: " + String(text));
}

bool DspRender::Run() {
    if (!chain_.HasNonLive())
        return true;
    path_ = DspTempName(job_.tempFolder);
    Action(u"Rendering For DSPs...");
    const bool ok = RenderAll();
    Action(u"");
    return ok;
}

bool DspRender::RenderAll() {
    if (path_.empty() || !DecodeToFile())
        return false;
    for (DspEntry& entry : chain_.Entries()) {
        if (job_.host.QuitRequested())
            break;
        Action(u"Running DSP Effect " + entry.name);
        if (!ApplyEffect(entry))
            return false;
    }
    return true;
}

bool DspRender::DecodeToFile() {
    FileAccess file;
    if (!file.Create(path_)) {
        LogError(u"Error writing to temporary file " + path_ + u": " + Win32ErrorText(), kContext);
        return false;
    }
    uint64_t written = 0;
    uint32_t empties = 0;
    while (!job_.host.QuitRequested()) {
        AudioBlockInfo block{};
        if (!job_.source.NextBlock(block))
            return false;
        if (block.data && block.length) {
            if (!file.Write(block.data, block.length)) {
                LogError(u"Error writing to temporary file " + path_ + u": " + Win32ErrorText(),
                         kContext);
                return false;
            }
            written += block.length;
            job_.host.StoreBytesEncoded(written);
            empties = 0;
        } else {
            ++empties;
        }
        if (block.endOfStream)
            break;
        if (empties)
            job_.host.Idle(IdleMs(empties));
    }
    file.Close();
    UpdateOpenRecord(job_.openInfo.format);
    return true;
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
    FileAccess in, out;
    if (second.empty() || !out.Create(second)) {
        LogError(u"Error: Writing Temporary Rendered DSP file " + second, kContext);
        return false;
    }
    if (!in.OpenRead(path_)) {
        LogError(u"Error: Reading Temporary Rendered DSP file.", kContext);
        out.Close(); // an open file cannot be deleted
        DeleteFilePath(second);
        return false;
    }
    WmWaveFormat last = job_.openInfo.format;
    const bool fed = FeedThrough(entry, in, out, second, last);
    in.Close();
    out.Close();
    if (!fed) {
        DeleteFilePath(second);
        return false;
    }
    if (!ReplaceRendered(second))
        return false;
    UpdateOpenRecord(last); // an effect may have changed the rate or the sample format
    return true;
}

bool DspRender::FeedThrough(DspEntry& entry, FileAccess& in, FileAccess& out, const String& outName,
                            WmWaveFormat& last) {
    const WmWaveFormat format = job_.openInfo.format;
    const uint64_t perSecond = FrameBytesPerSecond(format);
    const uint64_t align = FrameBytes(format);
    const uint64_t capacity =
        std::max<uint64_t>(perSecond * kChunkMs / 1000 / align * align, align);
    std::vector<uint8_t> buffer(static_cast<size_t>(capacity));
    bool failed = false;
    uint64_t left = in.Size(&failed), before = 0;
    do {
        const auto n = static_cast<uint32_t>(std::min<uint64_t>(left, capacity));
        if (n && in.Read(buffer.data(), n, FileAccess::kNoSeek, &failed) != n) {
            LogError(u"Error: Reading Temporary Rendered DSP file.", kContext);
            return false;
        }
        left -= n;
        AudioBlockInfo block{};
        block.data = buffer.data();
        block.length = n;
        block.format = format;
        block.msDuration = job_.openInfo.msLength;
        block.msPosition = before * 1000 / perSecond;
        block.endOfStream = left == 0;
        before += n;
        if (!entry.binding->PassAudioBlock(&block))
            return DspChain::FailedCall(entry, u"DSP_PassAudioBlock");
        if (!DspChain::WholeFrames(entry, block))
            return false;
        if (block.length && !out.Write(block.data, block.length)) {
            LogError(u"Error: Writing Temporary Rendered DSP file " + outName, kContext);
            return false;
        }
        last = block.format;
    } while (left > 0);
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
}

} // namespace wm
