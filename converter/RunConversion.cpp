// The run's spine: the order of the steps from binding the plug-ins to the block loop.
#include "converter/CommandLineText.h"
#include "converter/DspRender.h"
#include "converter/EncoderStage.h"
#include "converter/HelpText.h"
#include "converter/TwWavemill.h"
#include "converter/UserStop.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/PathText.h"
#include "flow/BlockPump.h"
#include "plugins/MessageRelay.h"
#include "plugins/PluginReason.h"
#include "plugins/clTwCodecHandler.h"
#include "process/Log.h"
#include "process/MutexHandle.h"
#include "process/Registry.h"
#include "process/RunClock.h"
#include "text/NumberText.h"

#include <windows.h>

#include <vector>

namespace wm {

namespace {
constexpr const char* kRunContext = "TwWavemill::TwWavemill";
} // namespace

TwWavemill::TwWavemill(RunStatus& status, ParentChannels& parent)
    : status_(status), parent_(parent), console_(status) {}

void TwWavemill::Run() {
    RegSetDefaultLocation(HKEY_CURRENT_USER, kSettingsRoot);
    ApplyTaggingDefaults();
    InstallRegistryLocaleLoader();
    if (!StartUp())
        return;
    CatchUserStop();
    Convert();
}

void TwWavemill::Convert() {
    // An encoder that never began has nothing to end: the finish is skipped whole.
    if (BindPlugins() && !RawHandOver() && Prepare() && RunBlockLoop())
        Finish();
    Report();
}

bool TwWavemill::BindPlugins() {
    dsps_ = std::make_unique<DspChain>(programFolder_, LogHostContext(), opt_.batchId);
    for (const DspRequest& d : opt_.dsps)
        dsps_->Add(d.name, d.settings);
    tags_ = std::make_unique<EncoderTags>(
        EncoderTagSource{options_, programFolder_, opt_.codec, opt_.inputFile});
    if (!Succeeded(ChooseSource(), "no decoder for the input") ||
        !Succeeded(LoadEncoder(), "the encoder did not load"))
        return false;
    LogScope scope("TwWavemill::StripWavemillCmds");
    encoderCommandLine_ = StripWavemillCmds(options_, opt_.dsps.size());
    return true;
}

bool TwWavemill::ChooseSource() {
    if (opt_.standardInput) {
        source_ = std::make_unique<StdInputSource>(options_);
        return true;
    }
    if (opt_.hasTrack)
        return ChooseTrackSource();
    if (!clTwCodecHandler().FindDecoder(opt_.inputFile, decoder_, LogHostContext(), programFolder_,
                                        false)) {
        LogError(u"Error: Unable to load decoder for file type '" + ExtensionOf(opt_.inputFile) +
                     u"', codec not installed? visit 'Kodexa'.",
                 kRunContext);
        return false;
    }
    source_ = std::make_unique<DecoderSource>(decoder_, opt_.inputFile, programFolder_, true);
    SendBatchId(decoder_);
    return true;
}

// One track of a disc image: the cue decoder reads the sheet (or the image holding it) and is
// told the track before it opens.
bool TwWavemill::ChooseTrackSource() {
    if (!opt_.trackValid) {
        LogError(u"Error: -track takes a track number from 0 to 99.", kRunContext);
        return false;
    }
    if (!clTwCodecHandler().FindTrackDecoder(decoder_, LogHostContext(), programFolder_)) {
        LogError(u"Error: Unable to load decoder for file type '.cue', codec not installed? "
                 u"visit 'Kodexa'.",
                 kRunContext);
        return false;
    }
    PluginValue track{};
    track.value1 = opt_.track;
    if (!decoder_.Set(WM_VALUE_TRACK, &track)) {
        LogError(u"Error: The decoder for cue sheets does not take a track.", kRunContext);
        return false;
    }
    source_ = std::make_unique<DecoderSource>(decoder_, opt_.inputFile, programFolder_, false);
    SendBatchId(decoder_);
    return true;
}

bool TwWavemill::LoadEncoder() {
    if (clTwCodecHandler().LoadEncoder(opt_.codec, encoder_, LogHostContext(), programFolder_)) {
        SendBatchId(encoder_);
        return true;
    }
    LogError(u"Error: Unable to load encoder '" + opt_.codec + u"'.", kRunContext);
    String installed;
    for (const String& codec : InstalledCodecs(programFolder_))
        installed += (installed.empty() ? u"" : u", ") + codec;
    LogInfo(u"Information: The installed encoders are: " + installed + u".", kRunContext);
    return false;
}

template <class Binding> void TwWavemill::SendBatchId(Binding& plugin) {
    if (!opt_.batchId)
        return;
    PluginValue batch{};
    batch.value2 = opt_.batchId;
    plugin.Set(WM_VALUE_BATCH_ID, &batch);
}

void TwWavemill::FillConversion(const String& fileToWrite) {
    conversion_.inputPath = opt_.inputFile.c_str();
    conversion_.outputPath = fileToWrite.c_str();
    conversion_.commandLine = encoderCommandLine_.c_str();
    conversion_.sourceFormat = &openInfo_.format;
    // -noidtag means no tags at all, also from encoders that write them in the same pass.
    const bool withTags = opt_.writeTags && !tags_->Block().empty();
    conversion_.tagData = withTags ? const_cast<uint8_t*>(tags_->Block().data()) : nullptr;
    conversion_.tagSize = withTags ? static_cast<uint32_t>(tags_->Block().size()) : 0;
    conversion_.secondData = openInfo_.secondData;
    conversion_.secondSize = openInfo_.secondSize;
}

bool TwWavemill::EncoderWantsReplayGain() {
    PluginValue pv{};
    return encoder_.Get(WM_VALUE_SEND_OVER_REPLAYGAIN_TAGS, &pv) != 0;
}

// The encoder may take the source file over whole; the decoder then only describes it.
bool TwWavemill::RawHandOver() {
    // An encoder taking the file over would convert the whole image, not the track.
    if (opt_.hasTrack)
        return false;
    PluginValue pv{};
    pv.pointer1 = opt_.inputFile.data();
    pv.pointer2 = encoderCommandLine_.data();
    pv.pointer3 = opt_.outputFile.data();
    if (!encoder_.Get(WM_VALUE_SEND_RAW_UNCOMPRESSED, &pv))
        return false;
    // An encoder that answers every name lands here too: say so for whoever reads the log.
    LogLine(u"The encoder answered \"SendRawUnCompressed\": it converts the source itself, and "
            u"no blocks, effects, messaging stages or tag writing follow.");
    openInfo_ = DecodeOpenInfo{};
    openInfo_.path = opt_.inputFile.c_str();
    openInfo_.openMode = WM_OPEN_RAW_HANDOVER;
    if (!source_->Open(openInfo_)) {
        status_.Fail("the source did not open");
        return true;
    }
    SetConversionPriority();
    tags_->UpdateEncoderTags(openInfo_.tagData, openInfo_.tagSize, openInfo_.secondData,
                             openInfo_.secondSize,
                             EncoderWantsReplayGain() ? ReplayGainTags::Keep : ReplayGainTags::Drop,
                             encoderCommandLine_);
    if (!source_->Close(Conversion()))
        status_.Fail("the decoder did not close");
    FillConversion(opt_.outputFile);
    if (!encoder_.BeginConversion(&Conversion())) {
        LogError(WithReason(u"Error: Encoder '" + opt_.codec + u"' could not convert '" +
                                opt_.inputFile + u"' itself.",
                            encoder_.LastError()),
                 kRunContext);
        status_.Fail("the encoder's raw hand-over failed");
    } else if (opt_.loudness.measure) {
        // No audio passed the converter: values it did not measure must not look measured.
        LogError(u"Error: ReplayGain: Encoder '" + opt_.codec +
                     u"' converted the source itself, so nothing was measured.",
                 kRunContext);
        status_.Fail("-replaygain with a raw hand-over");
    }
    return true;
}

bool TwWavemill::Prepare() {
    if (!Succeeded(dsps_->Load(&replayGainWanted_), "a DSP effect did not load"))
        return false;
    Relay(u"BeforeOpen");
    if (!Succeeded(OpenSource(), "the source did not open"))
        return false;
    PrepareOutput();
    return BeginEncoding();
}

bool TwWavemill::OpenSource() {
    if (!opt_.standardInput) {
        PluginValue pv{};
        pv.pointer1 = encoderCommandLine_.data();
        if (encoder_.Get(WM_VALUE_NEED_HQ_AUDIO, &pv)) {
            static char16_t kHighest[] = u"Highest Quality";
            PluginValue set{};
            set.pointer1 = kHighest;
            decoder_.Set(WM_VALUE_DECODE_AS, &set);
        }
        PreCacheInput();
    }
    openInfo_ = DecodeOpenInfo{};
    openInfo_.path = opt_.inputFile.c_str();
    openInfo_.openMode = WM_OPEN_CONVERT;
    if (!source_->Open(openInfo_))
        return false;
    ParentLine(ParentKeyword::MsLen, IntToText(static_cast<int64_t>(openInfo_.msLength)));
    SetConversionPriority();
    return true;
}

// Reads the whole input once, one converter on the machine at a time, so the decoder then
// finds it in the file cache instead of competing for the disk.
void TwWavemill::PreCacheInput() {
    if (RegReadDword(u"VrxNoPreCache") != 0)
        return;
    MutexHandle mutex;
    mutex.CreateOrOpen(u"mutVrxPrecacheread");
    const ScopedLock lock = mutex.LockScoped();
    FileAccess file;
    if (file.OpenRead(opt_.inputFile)) {
        std::vector<char> scratch(65536);
        bool failed = false;
        while (file.Read(scratch.data(), static_cast<uint32_t>(scratch.size()), 2, &failed) ==
                   scratch.size() &&
               !failed) {
        }
    }
}

void TwWavemill::PrepareOutput() {
    // An ".IGNORE" output turns off only the tag writer: the encoder, which then names and writes
    // its own files, still gets the tags.
    tagWriterOn_ = sink_.Prepare(opt_.outputFile) && opt_.writeTags;
    // A level an effect changed makes the source's replay-gain values wrong: they are dropped,
    // while those the user gave with -tag stand. Measured values replace the old ones when the
    // run ends; until then none travel.
    ReplayGainTags replayGain = ReplayGainTags::Drop;
    if ((EncoderWantsReplayGain() || replayGainWanted_) && !opt_.loudness.measure)
        replayGain =
            dsps_->ChangesLevel() ? ReplayGainTags::KeepOnlyTheUsers : ReplayGainTags::Keep;
    tags_->UpdateEncoderTags(openInfo_.tagData, openInfo_.tagSize, openInfo_.secondData,
                             openInfo_.secondSize, replayGain, encoderCommandLine_);
    FillConversion(sink_.FileToWrite());
}

bool TwWavemill::BeginEncoding() {
    // The summary's time and speed count the render: it is part of the conversion's cost.
    startCount_ = PerformanceCount();
    RenderJob job{*source_,  *this,           status_,     parent_.QuitEvent(), Conversion(),
                  openInfo_, opt_.tempFolder, parentMode_, ConsoleBar()};
    DspRender render(*dsps_, job);
    if (!render.Run())
        status_.Fail("rendering the DSP effects failed");
    rendered_.Own(render.RenderedPath());
    if (!render.RenderedPath().empty() && !status_.Failed() &&
        !rendered_.Open(render.RenderedPath(), openInfo_.format)) {
        LogError(WithReason(u"Error: Reading Temporary Rendered DSP file.", RenderedFileFault()),
                 kRunContext);
        status_.Fail("the rendered DSP file cannot be read");
    }
    if (parentMode_)
        ParentLine(ParentKeyword::Action, u"Encoding '" + FileNamePart(opt_.outputFile) + u"'");
    if (!dsps_->BeginLive(Conversion()))
        status_.Fail("a live DSP effect did not begin");
    if (!dsps_->HasLivePass() &&
        !Succeeded(BeginEncoder(openInfo_.format), "the encoder did not begin"))
        return false;
    dsps_->EchoSettings(opt_.codec, encoderCommandLine_);
    LogLine(u"============= CONVERSION BEGIN =============");
    return true;
}

// Why the rendered file cannot be opened; a sharing violation means a non-live effect kept it.
String TwWavemill::RenderedFileFault() const {
    const DWORD error = GetLastError();
    if (error != ERROR_SHARING_VIOLATION)
        return Win32ErrorText(error);
    String effects;
    for (const DspEntry& e : dsps_->Entries())
        if (!e.live)
            effects += (effects.empty() ? u"'" : u", '") + e.name + u"'";
    return u"the file is still open: DSP Effect " + effects +
           u" must close it before \"DSP_PassNonLive\" returns";
}

bool TwWavemill::BeginEncoder(const WmWaveFormat& format) {
    // An empty last block may come with its format left zeroed.
    encodedFormat_ = format.blockAlign ? format : openInfo_.format;
    conversion_.sourceFormat = &encodedFormat_;
    AskEncoderForDecodedPeak();
    if (!encoder_.BeginConversion(&Conversion())) {
        encoderState_ = EncoderState::Refused;
        LogError(WithReason(u"Error: Encoder '" + opt_.codec +
                                u"' could not begin the conversion of '" + opt_.outputFile + u"'.",
                            encoder_.LastError()),
                 kRunContext);
        return false;
    }
    encoderState_ = EncoderState::Begun;
    Relay(u"BeforeEncoding");
    return true;
}

// True when the encoder began, so that there is a conversion to finish.
bool TwWavemill::RunBlockLoop() {
    EncoderStage::Begin later;
    if (encoderState_ == EncoderState::NotBegun)
        later = [this](const WmWaveFormat& format) { return BeginEncoder(format); };
    EncoderStage encoder(encoder_, opt_.codec, later);
    std::vector<BlockStage*> stages;
    if (dsps_->HasLivePass())
        stages.push_back(dsps_.get());
    if (opt_.loudness.measure) {
        scan_ =
            std::make_unique<LoudnessScan>(opt_.loudness.truePeak, static_cast<FlowHost&>(*this));
        stages.push_back(scan_.get());
    }
    stages.push_back(&encoder);
    BlockSource& blocks = rendered_.IsOpen() ? static_cast<BlockSource&>(rendered_) : *source_;
    BlockPump pump(blocks, stages, *this, status_, {openInfo_.msLength, parentMode_, ConsoleBar()});
    pump.Run();
    // No block reached the encoder (stopped, failed or torn before the first): it begins in the
    // open record's format, so that the finish ends it like any other.
    if (encoderState_ == EncoderState::NotBegun)
        Succeeded(BeginEncoder(openInfo_.format), "the encoder did not begin");
    return encoderState_ == EncoderState::Begun;
}

uint32_t TwWavemill::Relay(const char16_t* stage) {
    MessageRelay relay(opt_.standardInput ? nullptr : &decoder_, encoder_, Conversion());
    return relay.Communicate(stage);
}

bool TwWavemill::Succeeded(bool ok, const char* whyNot) {
    if (!ok)
        status_.Fail(whyNot);
    return ok;
}

ConversionInfo& TwWavemill::Conversion() {
    conversion_.runError = status_.Failed() ? 1 : 0;
    return conversion_;
}

bool TwWavemill::QuitRequested() {
    return parent_.QuitSet() || UserStopRequested();
}

void TwWavemill::Idle(uint32_t ms) {
    Sleep(ms);
}

void TwWavemill::ProgressMarks(uint32_t count) {
    console_.Write(String(count, u'*'));
}

void TwWavemill::ParentLine(ParentKeyword keyword, StringView text) {
    console_.Write(ParentLineText(keyword, text), true);
}

void TwWavemill::Information(StringView text) {
    LogInfo(text, kRunContext);
}

void TwWavemill::Error(StringView text) {
    LogError(text, kRunContext);
}

} // namespace wm
