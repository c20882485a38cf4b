// The run: constructing TwWavemill performs one whole conversion, destroying it releases
// everything. The outcome reaches the process only through the run status.
//
// The run keeps the order of the steps; the work is delegated: a source (decoder, standard
// input, or the file the non-live effects rendered), a block pump that passes each block through
// the live effects and the encoder, and a sink that names the output and moves it into place.
#pragma once

#include "converter/AudioSources.h"
#include "converter/Console.h"
#include "converter/EncoderTags.h"
#include "converter/OptionStore.h"
#include "converter/OutputSink.h"
#include "converter/RunOptions.h"
#include "converter/RunStatus.h"
#include "plugins/BlockFlow.h"
#include "plugins/DspChain.h"
#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"
#include "process/EventHandle.h"
#include "process/SharedMemoryBlock.h"
#include "process/UniqueHandle.h"
#include "process/WorkerThread.h"
#include "sdk/wavemill_plugin.h"
#include "text/String.h"

#include <cstdint>
#include <memory>

namespace wm {

class TwWavemill : private FlowHost {
  public:
    TwWavemill();
    ~TwWavemill() override;
    TwWavemill(const TwWavemill&) = delete;
    TwWavemill& operator=(const TwWavemill&) = delete;

  private:
    // Start-up (RunStartUp.cpp).
    bool StartUp();
    bool SetUpDebugAndHandles();
    void StartDebugViewer();
    void StartWorkers();
    bool ReadTwCommandFile(const String& name);
    bool ParseCommandLine();
    void OpenParentObjects();
    void ApplyProcessor();
    void SetConversionPriority();
    void PrintBanner();
    void PrintUsage();
    void EchoSettings();

    // The conversion (RunConversion.cpp, RunFinish.cpp).
    void Convert();
    bool BindPlugins();
    bool ChooseSource();
    bool LoadEncoder();
    template <class Binding> void SendBatchId(Binding& plugin);
    bool RawHandOver();
    bool Prepare();
    bool OpenSource();
    void PreCacheInput();
    void PrepareOutput();
    bool BeginEncoding();
    bool BeginEncoder(const WmWaveFormat& format);
    bool RunBlockLoop();
    void Finish();
    bool EndEncoding();
    void AfterConversion();
    void ReleaseRendered();
    void Report();
    String Summary() const;
    uint32_t Relay(const char16_t* stage);
    bool EncoderWantsReplayGain();
    void FillConversion(const String& fileToWrite);

    // What the block flow needs from the platform.
    bool QuitRequested() override;
    void Heartbeat() override { watchdogEvent_.Set(); }
    void Idle(uint32_t ms) override;
    void ProgressMarks(uint32_t count) override;
    void ParentLine(StringView keywordAndText) override;
    void StoreBytesEncoded(uint64_t total) override;
    void Information(StringView text) override;
    void Error(StringView text) override;

    RunStatus& status_;
    OptionStore options_;
    RunOptions opt_;
    bool parentMode_ = false;
    String programFolder_, encoderCommandLine_;

    Console console_;
    UniqueHandle debugFile_;
    EventHandle debugWatchEvent_;
    bool fileSizeDiagnostics_ = false;
    EventHandle quitEvent_, afterConvErrorEvent_, watchdogEvent_;
    SharedMemoryBlock bytesEncodedBlock_;
    WorkerThread relayWorker_, watchdogWorker_;

    clTwDecoder decoder_;
    clTwEncoder encoder_;
    std::unique_ptr<DspChain> dsps_;
    std::unique_ptr<AudioSource> source_;
    RenderedFileSource rendered_;
    String renderedPath_;
    OutputSink sink_;
    std::unique_ptr<EncoderTags> tags_;
    bool replayGainWanted_ = false;

    ConversionInfo conversion_{};
    DecodeOpenInfo openInfo_{};
    WmWaveFormat encodedFormat_{}; // what the encoder gets (live effects may change it)
    enum class EncoderState { NotBegun, Begun, Refused } encoderState_ = EncoderState::NotBegun;
    bool tagWriterOn_ = false;
    uint32_t startTick_ = 0, elapsedMs_ = 0;
    double speed_ = 0;
};

} // namespace wm
