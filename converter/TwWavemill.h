// The run: one whole conversion of one source into one output file. The process entry owns it
// beside the run status and the parent channels; Run() does the work, and destruction releases
// what it holds in one order: the output sink and the rendered file, the effects, the encoder,
// the decoder, and last the console, so that what the plug-ins log while they go still arrives.
//
// The run keeps the order of the steps; the work is delegated: a source (decoder, standard
// input, or the file the non-live effects rendered), a block pump that passes each block through
// the live effects and the encoder, and a sink that names the output and moves it into place.
#pragma once

#include "converter/AudioSources.h"
#include "converter/EncoderTags.h"
#include "converter/LoudnessScan.h"
#include "converter/OutputSink.h"
#include "converter/ParentChannels.h"
#include "converter/RunConsole.h"
#include "converter/RunOptions.h"
#include "flow/BlockFlow.h"
#include "flow/ProgressBar.h"
#include "flow/RunStatus.h"
#include "options/OptionStore.h"
#include "plugins/DspChain.h"
#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"
#include "sdk/wavemill_plugin.h"
#include "text/String.h"

#include <cstdint>
#include <memory>

namespace wm {

// Required name (README, Glossary): the run object keeps the family's name.
class TwWavemill : private FlowHost {
  public:
    TwWavemill(RunStatus& status, ParentChannels& parent);
    TwWavemill(const TwWavemill&) = delete;
    TwWavemill& operator=(const TwWavemill&) = delete;

    void Run();

  private:
    // Start-up (RunStartUp.cpp).
    bool StartUp();
    bool ReadTwCommandFile(const String& name);
    bool ParseCommandLine();
    void ApplyProcessor();
    void SetConversionPriority();
    void PrintBanner();
    void PrintUsage();
    void EchoSettings();

    // The conversion (RunConversion.cpp, RunFinish.cpp).
    void Convert();
    bool BindPlugins();
    bool ChooseSource();
    bool ChooseTrackSource();
    bool LoadEncoder();
    template <class Binding> void SendBatchId(Binding& plugin);
    bool RawHandOver();
    bool Prepare();
    bool OpenSource();
    void PreCacheInput();
    void PrepareOutput();
    bool BeginEncoding();
    String RenderedFileFault() const;
    bool BeginEncoder(const WmWaveFormat& format);
    bool RunBlockLoop();
    void Finish();
    bool EndEncoding();
    bool TagMeasuredLoudness();
    bool PeakIsUsed() const;
    bool EncoderIsLossless();
    void AskEncoderForDecodedPeak();
    bool EncoderDecodedPeak(double& peak);
    void MeasureDecodedPeak(double& peak);
    bool WriteLoudnessRecord(const LoudnessRecord& measured);
    void AfterConversion();
    void CheckOutputWritten(const StringList& outputs);
    void ReportPluginInformation();
    void Report();
    String Summary() const;
    uint32_t Relay(const char16_t* stage);
    bool EncoderWantsReplayGain();
    void FillConversion(const String& fileToWrite);
    // A step that stops the run says so by its result alone; the run status is failed here, with
    // the reason the debug log gives.
    bool Succeeded(bool ok, const char* whyNot);
    // The conversion record with its error flag telling the run's state as it is now.
    ConversionInfo& Conversion();
    ProgressBar* ConsoleBar() { return opt_.silent ? nullptr : &progress_; }

    // What the block flow needs from the platform.
    bool QuitRequested() override;
    void Heartbeat() override { parent_.Heartbeat(); }
    void Idle(uint32_t ms) override;
    uint64_t NowMs() override { return ::GetTickCount64(); }
    void ProgressMarks(uint32_t count) override;
    void ParentLine(ParentKeyword keyword, StringView text) override;
    void StoreBytesEncoded(uint64_t total) override { parent_.StoreBytesEncoded(total); }
    void Information(StringView text) override;
    void Error(StringView text) override;

    RunStatus& status_;
    ParentChannels& parent_;
    RunConsole console_;
    OptionStore options_;
    RunOptions opt_;
    bool parentMode_ = false;
    String programFolder_, encoderCommandLine_;

    clTwDecoder decoder_;
    clTwEncoder encoder_;
    std::unique_ptr<DspChain> dsps_;
    std::unique_ptr<AudioSource> source_;
    RenderedFileSource rendered_;
    OutputSink sink_;
    std::unique_ptr<EncoderTags> tags_;
    std::unique_ptr<LoudnessScan> scan_; // with -replaygain
    bool replayGainWanted_ = false;
    bool tagWriterOn_ = false;

    ConversionInfo conversion_{};
    DecodeOpenInfo openInfo_{};
    WmWaveFormat encodedFormat_{}; // what the encoder gets (live effects may change it)
    enum class EncoderState { NotBegun, Begun, Refused } encoderState_ = EncoderState::NotBegun;
    ProgressBar progress_{*this};
    int64_t startCount_ = 0; // performance counter, from the render on, if effects render
    uint32_t elapsedMs_ = 0;
    double speed_ = 0;
};

} // namespace wm
