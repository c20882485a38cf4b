// The non-live pass: the whole source is decoded into a raw PCM file, each effect in the
// user's order is applied to that file (live ones block by block through a second file, so
// the order of effects is kept), and the run then reads the file instead of the decoder. Both
// block loops are the run's block pump, with a stage that writes the file at the end.
#pragma once

#include "flow/BlockFlow.h"
#include "flow/BlockPump.h"
#include "flow/ProgressBar.h"
#include "flow/RunStatus.h"
#include "plugins/DspChain.h"
#include "process/EventHandle.h"

#include <span>

namespace wm {

struct RenderJob {
    BlockSource& source;
    FlowHost& host;
    RunStatus& status;
    const EventHandle& quit;
    ConversionInfo& conversion;
    DecodeOpenInfo& openInfo; // format and lengths follow the rendered file
    String tempFolder;        // empty: the system's temporary folder
    bool parentMode = false;
    ProgressBar* bar = nullptr; // the console's; none when silent or in parent mode
};

class DspRender {
  public:
    DspRender(DspChain& chain, RenderJob& job) : chain_(chain), job_(job) {}
    // False on failure. RenderedPath() is empty when no effect is non-live.
    bool Run();
    const String& RenderedPath() const { return path_; }

  private:
    bool RenderAll();
    bool DecodeToFile();
    bool ApplyEffect(DspEntry& entry);
    bool ApplyLive(DspEntry& entry);
    bool Pump(BlockSource& from, std::span<BlockStage* const> stages, PumpSettings settings);
    bool ReplaceRendered(const String& second);
    void UpdateOpenRecord(const WmWaveFormat& format);
    void Action(StringView text);
    void BeginPass(size_t index);

    DspChain& chain_;
    RenderJob& job_;
    String path_;
};

// "<folder>DSP<a><b><c>.tmp" from a new GUID's first three fields, or a system temporary name.
String DspTempName(const String& tempFolder);

} // namespace wm
