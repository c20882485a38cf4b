// The run's spine: start-up, the preparation, the block loop, the finish and the report.
#include "converter/TwWavemill.h"

#include "converter/Log.h"
#include "converter/LogOutlets.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/Folders.h"
#include "files/PathText.h"
#include "plugins/clTwCodecHandler.h"
#include "process/MutexHandle.h"
#include "process/Registry.h"
#include "process/RunProcess.h"
#include "process/WinString.h"
#include "text/NumberText.h"

#include <windows.h>

#include <algorithm>

namespace wm {

std::atomic<uint8_t> g_errorFlag{0};

namespace {
constexpr const char* kRunContext = "TwWavemill::TwWavemill";
constexpr uint32_t kRelayStopLimitMs = 60000;
constexpr DWORD kIdleTableMs[] = {0, 0, 25, 25, 50};
} // namespace

TwWavemill::TwWavemill() {
    RegSetDefaultLocation(HKEY_CURRENT_USER, kSettingsRoot);
    ApplyTaggingDefaults();
    InstallRegistryLocaleLoader();
    programFolder_ = ProgramFolder();
    if (!SetUpDebugAndHandles()) {
        MessageBoxW(nullptr, L"GetStdHandle", L"Console Error", MB_OK | MB_ICONERROR);
        g_errorFlag = 1;
        return;
    }
    StartRelayWorker();
    SplitCommandLine();
    String commandFile;
    if (options_.Find(u"twcmd", &commandFile) && !ReadTwCommandFile(commandFile)) {
        MessageBoxW(nullptr, L"Error reading Tw Command File.", L"Wavemill", MB_OK | MB_ICONERROR);
        g_errorFlag = 1;
        return;
    }
    if (!ParseCommandLine()) {
        g_errorFlag = 1;
        return;
    }
    if (!silent_)
        PrintBanner();
    watchdogWorker_.Start(
        [this](EventHandle& stop) {
            while (!stop.Wait(50))
                watchdogEvent_.Set();
        },
        false, 0);
    if (!silent_)
        EchoSettings();
    Run();
}

TwWavemill::~TwWavemill() {
    watchdogWorker_.Close();
    // The relay drains everything still queued before it ends, so no error line is lost.
    relayWorker_.Close();
    console_.Drain(parentMode_, silent_, failed_);
    if (Failed())
        g_errorFlag = 1;
    encoder_.Unload();
    decoder_.Unload();
    bytesEncodedBlock_.Close();
    watchdogEvent_.Close();
    afterConvErrorEvent_.Close();
    quitEvent_.Close();
    SetLogOutlets(nullptr, nullptr, nullptr);
}

bool TwWavemill::SetUpDebugAndHandles() {
    if (RegReadDword(u"Debug") != 0) {
        RegWriteDword(u"Debug", 0); // debug mode lasts one run
        String name = TempFile(u"", u".TXT", u"DBG");
        HANDLE h = CreateFileW(W(LongPathForm(name, kOpenPathLimit)), GENERIC_READ | GENERIC_WRITE,
                               FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h != INVALID_HANDLE_VALUE) {
            debugFile_.reset(h);
            fileSizeDiagnostics_ = true;
            String eventName;
            do {
                eventName = u"TwDGB" + IntToText(GetTickCount());
                debugWatchEvent_.CreateOrOpen(eventName);
                if (debugWatchEvent_.AlreadyExisted())
                    Sleep(1);
            } while (debugWatchEvent_.AlreadyExisted());
            RunProcess(programFolder_ + u"Peekinfo.exe",
                       u"-DebugWatch=\"" + eventName + u"\" -DebugFile=\"" + name + u"\"", false, 0,
                       false, CREATE_NO_WINDOW | NORMAL_PRIORITY_CLASS, false);
        }
    }
    if (!console_.Init())
        return false;
    SetLogOutlets(console_.ErrorPipeWrite(), console_.InfoPipeWrite(), debugFile_.get());
    return true;
}

void TwWavemill::StartRelayWorker() {
    relayWorker_.Start(
        [this](EventHandle& stop) {
            while (!stop.Wait(50))
                console_.Drain(parentMode_, silent_, failed_);
            while (console_.Drain(parentMode_, silent_, failed_)) {
            }
        },
        false, kRelayStopLimitMs);
}

void TwWavemill::ParentLine(StringView keywordAndText) {
    String line = u"MSGTO: Vrx: ";
    line += keywordAndText;
    console_.Write(line, true);
}

void TwWavemill::Run() {
    if (PrepareConversion()) {
        BlockLoop();
        FinishConversion();
    }
    encoder_.Unload();
    Report();
}

bool TwWavemill::PrepareConversion() {
    if (!stdInput_) {
        clTwCodecHandler handler;
        if (!handler.FindDecoder(inputFile_, decoder_, LogHostContext(), programFolder_, false)) {
            LogError(u"Error: Unable to load decoder for file type '" + ExtensionOf(inputFile_) +
                         u"', codec not installed? visit 'Kodexa'.",
                     kRunContext);
            g_errorFlag = 1;
            return false;
        }
        decoderChosen_ = true;
        if (batchId_) {
            PluginValue pv{};
            pv.value2 = batchId_;
            decoder_.Set(WM_VALUE_BATCH_ID, &pv);
        }
    }
    clTwCodecHandler handler;
    if (!handler.LoadEncoder(codec_, encoder_, LogHostContext(), programFolder_)) {
        LogError(u"Error: Unable to load encoder '" + codec_ + u"'.", kRunContext);
        g_errorFlag = 1;
        return false;
    }
    if (batchId_) {
        PluginValue pv{};
        pv.value2 = batchId_;
        encoder_.Set(WM_VALUE_BATCH_ID, &pv);
    }
    encoderCommandLine_ = LoggedStripWavemillCmds();
    if (RawHandOver())
        return false;
    if (!dsps_.empty()) {
        // Effects are plug-ins this build cannot drive yet; converting without them would
        // silently give the user different audio.
        LogError(u"Error: DSP effects are not supported by this build of Wavemill.", kRunContext);
        g_errorFlag = 1;
        return false;
    }
    ApplyDecodeOptions();
    PreCacheInput();
    if (!OpenDecoder(WM_OPEN_CONVERT)) {
        g_errorFlag = 1;
        return false;
    }
    ParentLine(u"msLen: " + IntToText(static_cast<int64_t>(openInfo_.msLength)));
    SetConversionPriority();
    ChooseOutputName();
    UpdateEncoderTags(openInfo_.tagData, openInfo_.tagSize, openInfo_.secondData,
                      openInfo_.secondSize, EncoderWantsReplayGain(), encoderCommandLine_);
    conversion_.inputPath = inputFile_.c_str();
    conversion_.outputPath =
        tempOutputFile_.empty() ? outputFile_.c_str() : tempOutputFile_.c_str();
    conversion_.commandLine = encoderCommandLine_.c_str();
    conversion_.sourceFormat = &openInfo_.format;
    conversion_.secondData = openInfo_.secondData;
    conversion_.secondSize = openInfo_.secondSize;
    if (parentMode_)
        ParentLine(u"Action: Encoding '" + FileNamePart(outputFile_) + u"'");
    if (!encoder_.BeginConversion(&conversion_)) {
        LogError(u"Error: Encoder '" + codec_ + u"' could not begin the conversion of '" +
                     outputFile_ + u"'.",
                 kRunContext);
        Fail();
        return false;
    }
    startTick_ = GetTickCount();
    LogLine(u"============= CONVERSION BEGIN =============");
    return true;
}

bool TwWavemill::RawHandOver() {
    PluginValue pv{};
    pv.pointer1 = inputFile_.data();
    pv.pointer2 = encoderCommandLine_.data();
    pv.pointer3 = outputFile_.data();
    if (!encoder_.Get(WM_VALUE_SEND_RAW_UNCOMPRESSED, &pv))
        return false;
    // The encoder reads the source itself: the decoder only describes it.
    if (!OpenDecoder(WM_OPEN_RAW_HANDOVER))
        return true;
    SetConversionPriority();
    UpdateEncoderTags(openInfo_.tagData, openInfo_.tagSize, openInfo_.secondData,
                      openInfo_.secondSize, EncoderWantsReplayGain(), encoderCommandLine_);
    if (!CloseDecoder())
        conversion_.runError = 1;
    conversion_.inputPath = inputFile_.c_str();
    conversion_.outputPath = outputFile_.c_str();
    conversion_.commandLine = encoderCommandLine_.c_str();
    conversion_.sourceFormat = &openInfo_.format;
    conversion_.secondData = openInfo_.secondData;
    conversion_.secondSize = openInfo_.secondSize;
    if (!encoder_.BeginConversion(&conversion_)) {
        conversion_.runError = 1;
        Fail();
    }
    return true;
}

bool TwWavemill::EncoderWantsReplayGain() {
    PluginValue pv{};
    return encoder_.Get(WM_VALUE_SEND_OVER_REPLAYGAIN_TAGS, &pv) != 0;
}

void TwWavemill::PreCacheInput() {
    if (stdInput_ || RegReadDword(u"VrxNoPreCache") != 0)
        return;
    MutexHandle mutex;
    mutex.CreateOrOpen(u"mutVrxPrecacheread");
    mutex.Lock();
    FileAccess file;
    if (file.OpenRead(inputFile_)) {
        std::vector<char> scratch(65536);
        bool failed = false;
        while (file.Read(scratch.data(), static_cast<uint32_t>(scratch.size()), 2, &failed) ==
                   scratch.size() &&
               !failed) {
        }
        file.Close();
    }
    mutex.Unlock();
    mutex.Close();
}

void TwWavemill::ChooseOutputName() {
    String ext = ExtensionOf(outputFile_);
    if (EqualsNoCase(ext, u".IGNORE")) {
        writeTags_ = false;
        return;
    }
    String folder = FolderPart(outputFile_);
    if (!folder.empty())
        CreateFolderPath(folder);
    if (!FileExists(outputFile_))
        return;
    // The existing file survives until the new one is complete.
    String base = outputFile_;
    size_t limit = 255 - std::min<size_t>(ext.size(), 255);
    if (base.size() > limit)
        base.resize(limit);
    tempOutputFile_ = base + u".tmp" + ext;
}

void TwWavemill::BlockLoop() {
    if (Failed())
        return;
    int marks = 0;
    uint32_t reported = 0;
    int empties = 0;
    int idle = 0;
    uint64_t msLen = openInfo_.msLength ? openInfo_.msLength : 1;
    for (;;) {
        if (quitEvent_.IsSet())
            break;
        watchdogEvent_.Set();
        AudioBlockInfo block{};
        if (!DecodeAudioBlock(block)) {
            Fail();
            break;
        }
        if (parentMode_ && block.actionText && lastActionInput_ != block.actionText) {
            lastActionInput_ = block.actionText;
            ParentLine(u"ActionInput: " + lastActionInput_);
        }
        bool end = block.endOfStream != 0;
        if ((!block.data || block.length == 0) && !end) {
            if (empties < 4) {
                ++empties;
                ++idle;
            }
            Sleep(kIdleTableMs[idle]);
            continue;
        }
        empties = 0;
        uint32_t align = block.format.blockAlign ? block.format.blockAlign : 1;
        if (block.length % align) {
            if (end) {
                LogInfo(u"Information: Audio data contains incomplete samples at end.",
                        kRunContext);
                break;
            }
            LogError(u"Error: Audio data contains incomplete samples mid-stream.", kRunContext);
            Fail();
            break;
        }
        uint32_t percent =
            static_cast<uint32_t>(std::min<uint64_t>(100, block.msPosition * 100 / msLen));
        if (!parentMode_ && !silent_) {
            int want = static_cast<int>(percent * 60 / 100);
            if (want > marks) {
                console_.Write(String(want - marks, u'*'));
                marks = want;
            }
        } else if (parentMode_ && percent > reported) {
            reported = percent;
            ParentLine(u"PCDone: " + IntToText(reported) + u" %");
        }
        block.actionText = nullptr;
        if (!encoder_.EncodeBlock(&block)) {
            LogError(u"Error: Encoder '" + codec_ + u"' refused a block of audio.", kRunContext);
            conversion_.runError = 1;
            Fail();
            break;
        }
        if (parentMode_ && block.actionText && lastActionOutput_ != block.actionText) {
            lastActionOutput_ = block.actionText;
            ParentLine(u"ActionOutput: " + lastActionOutput_);
        }
        bytesEncoded_ += block.length;
        if (bytesEncodedBlock_.IsOpen()) {
            int64_t total = static_cast<int64_t>(bytesEncoded_);
            bytesEncodedBlock_.Write(&total);
        }
        idle = 0;
        if (end || Failed())
            break;
    }
}

void TwWavemill::FinishConversion() {
    LogLine(u"============= CONVERSION END =============");
    elapsedMs_ = GetTickCount() - startTick_;
    if (!silent_)
        console_.Write(u"\r\n", true);
    speed_ = static_cast<double>(openInfo_.msLength) / (elapsedMs_ ? elapsedMs_ : 1);
    if (!CloseDecoder())
        Fail();
    if (quitEvent_.IsSet() || afterConvErrorEvent_.IsSet())
        Fail();
    if (Failed())
        conversion_.runError = 1;
    uint32_t tagAfterwards = 0;
    if (!encoder_.EndConversion(&conversion_, &tagAfterwards)) {
        LogError(u"Error: Encoder '" + codec_ + u"' could not finish '" + outputFile_ + u"'.",
                 kRunContext);
        conversion_.runError = 1;
        Fail();
    }
    bool tagging = tagAfterwards && writeTags_;
    const String& written = tempOutputFile_.empty() ? outputFile_ : tempOutputFile_;
    if (fileSizeDiagnostics_ && written.find(u".iGnore") == String::npos)
        LogLine(u"File Size Check " +
                String(tempOutputFile_.empty() ? u"" : u"(before overwrite final)") + u": " +
                IntToText(static_cast<int64_t>(FileSizeOfPath(written, nullptr))) +
                u" bytes   Filename: " + written);
    if (!tempOutputFile_.empty()) {
        bool missing = false;
        uint64_t size = FileSizeOfPath(tempOutputFile_, &missing);
        if (missing || size == 0 || Failed() || quitEvent_.IsSet()) {
            tagging = false;
        } else {
            DeleteFilePath(outputFile_);
            if (!MoveWithRetry(tempOutputFile_, outputFile_, MOVEFILE_REPLACE_EXISTING, 2000,
                               &quitEvent_)) {
                LogError(u"Error overwriting file " + Win32ErrorText(GetLastError()) + u" '" +
                         outputFile_ + u"'");
                Fail();
                tagging = false;
            }
        }
        DeleteFilePath(tempOutputFile_);
    }
    if (tagging) {
        if (fileSizeDiagnostics_ && outputFile_.find(u".iGnore") == String::npos)
            LogLine(u"File Size Check (before ID Tags Written): " +
                    IntToText(static_cast<int64_t>(FileSizeOfPath(outputFile_, nullptr))) +
                    u" bytes   Filename: " + outputFile_);
        if (parentMode_)
            ParentLine(u"Action: Writing ID Tags '" + FileNamePart(outputFile_) + u"'");
        if (!IDTagWriter(outputFile_, tagBlock_.data(), static_cast<uint32_t>(tagBlock_.size()))) {
            LogError(u"Unable to tag file '" + outputFile_ + u"'");
            Fail();
        }
    }
}

void TwWavemill::Report() {
    String summary;
    if (elapsedMs_ != 0) {
        summary = u"Conversion completed in " + DurationText(elapsedMs_, 0);
        if (speed_ != 0) {
            summary += u" x";
            summary +=
                speed_ >= 10 ? IntToText(static_cast<int64_t>(speed_)) : FloatToText(speed_, 1);
            summary += u" realtime encoding";
        }
        LogLine(summary);
        if (fileSizeDiagnostics_ && outputFile_.find(u".iGnore") == String::npos)
            LogLine(u"File Size Check (Wavemill exit): " +
                    IntToText(static_cast<int64_t>(FileSizeOfPath(outputFile_, nullptr))) +
                    u" bytes   Filename: " + outputFile_);
    }
    // Every error line must have reached the failed mark before the verdict is printed.
    relayWorker_.Stop(true);
    if (!silent_ && !parentMode_)
        console_.Write(Failed() ? String(u"Conversion Failed.") : summary, true);
    if (Failed())
        g_errorFlag = 1;
    decoder_.Unload();
    watchdogWorker_.Stop(true);
}

} // namespace wm
