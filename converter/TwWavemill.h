// The run: constructing TwWavemill performs one whole conversion, destroying it releases
// everything. The outcome reaches the process only through the global error flag.
#pragma once

#include "converter/Console.h"
#include "converter/OptionStore.h"
#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"
#include "process/EventHandle.h"
#include "process/SharedMemoryBlock.h"
#include "process/UniqueHandle.h"
#include "process/WorkerThread.h"
#include "sdk/wavemill_plugin.h"
#include "tags/IDTagSet.h"
#include "text/String.h"
#include "text/WaveFormat.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace wm {

// Set by any failing step, never cleared; the exit status is taken from it.
extern std::atomic<uint8_t> g_errorFlag;

struct DspRecord {
    String name;
    String settings;
    bool live = false;
    bool enabled = true;
};

class TwWavemill {
  public:
    TwWavemill();
    ~TwWavemill();
    TwWavemill(const TwWavemill&) = delete;
    TwWavemill& operator=(const TwWavemill&) = delete;

  private:
    // Start-up.
    bool SetUpDebugAndHandles();
    void StartRelayWorker();
    void SplitCommandLine();
    bool ReadTwCommandFile(const String& name);
    bool ParseCommandLine();
    void PrintBanner();
    void PrintUsage();
    void EchoSettings();
    String LoggedStripWavemillCmds();
    void SetConversionPriority();
    void ApplyProcessor();

    // The conversion.
    void Run();
    bool PrepareConversion();
    void BlockLoop();
    void FinishConversion();
    void Report();
    bool RawHandOver();
    void PreCacheInput();
    void ChooseOutputName();
    bool EncoderWantsReplayGain();

    // Tags.
    void UpdateEncoderTags(const void* tagBlock, uint32_t tagSize, const void* infoBlock,
                           uint32_t infoSize, bool keepReplayGain, const String& encoderSettings);
    bool IDTagWriter(const String& outputFileName, const void* tagBlock, uint32_t tagSize);

    // Audio source.
    void ApplyDecodeOptions();
    bool OpenDecoder(uint32_t openMode);
    bool DecodeAudioBlock(AudioBlockInfo& block);
    bool CloseDecoder();
    bool OpenStdInput();
    bool ReadStdInputBlock(AudioBlockInfo& block);

    // Output helpers.
    void ParentLine(StringView keywordAndText);
    void Fail() { failed_.store(1); }
    bool Failed() const { return failed_.load() != 0; }

    String codec_, inputFile_, outputFile_, tagSourceFile_;
    bool writeTags_ = true;
    std::vector<DspRecord> dsps_;
    String quitEventName_, tempFolder_;
    Console console_;
    UniqueHandle debugFile_;
    EventHandle debugWatchEvent_;
    bool fileSizeDiagnostics_ = false;
    bool silent_ = false;
    bool errorFileOpen_ = false;
    bool parentMode_ = false;
    EventHandle quitEvent_, afterConvErrorEvent_, watchdogEvent_;
    SharedMemoryBlock bytesEncodedBlock_;
    WorkerThread relayWorker_, watchdogWorker_;
    bool stdInput_ = false;
    String tempOutputFile_;
    String encoderCommandLine_;
    String programFolder_;
    ConversionInfo conversion_{};
    DecodeOpenInfo openInfo_{};
    std::atomic<int32_t> failed_{0};
    uint64_t bytesEncoded_ = 0;
    uint32_t batchId_ = 0;
    OptionStore options_;
    IDTagSet tagSet_;
    std::vector<uint8_t> tagBlock_;

    clTwDecoder decoder_;
    clTwEncoder encoder_;
    bool decoderChosen_ = false;

    // Standard input source.
    HANDLE stdIn_ = INVALID_HANDLE_VALUE;
    bool stdInEnded_ = false;
    bool stdInIsPipe_ = false;
    bool stdInPeekWorks_ = true;
    std::vector<uint8_t> stdInBuffer_;
    WaveFormat stdInFormat_;
    std::vector<uint8_t> stdInTags_;

    uint32_t elapsedMs_ = 0;
    double speed_ = 0;
    uint32_t startTick_ = 0;
    String lastActionInput_, lastActionOutput_;
};

} // namespace wm
