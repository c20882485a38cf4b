// An encoder as the host drives it: the values it is asked, one conversion of generated audio
// in blocks of varied whole-frame sizes ending with an empty block, the written file, a call
// after the end, the clean-up of a failed run, every sample format a decoder may deliver, and
// two instances encoding at once.
#include "plugins/clTwEncoder.h"
#include "tags/IDTagSet.h"
#include "tools/plugin-check/Checks.h"

#include <algorithm>

namespace wm::check {

namespace {

constexpr uint32_t kAudioMs = 3000;

struct Conversion {
    String folder, output;
    WmWaveFormat format = CheckFormat();
    std::vector<uint8_t> tags = CheckTagBlock();
    ConversionInfo info{};
};

void Prepare(Conversion& c, const String& folder, const String& extension, const CheckJob& job) {
    c.folder = folder;
    c.output = folder + u"output" + extension;
    c.info.inputPath = u"plugin-check generated audio";
    c.info.outputPath = c.output.c_str();
    c.info.commandLine = job.options.c_str();
    c.info.sourceFormat = &c.format;
    c.info.tagData = c.tags.data();
    c.info.tagSize = static_cast<uint32_t>(c.tags.size());
}

String AskExtension(clTwEncoder& encoder, Report& report) {
    PluginValue value{};
    CallGuard guard("ENC_Get \"Extension\"");
    if (!encoder.Get(WM_VALUE_EXTENSION, &value)) {
        report.Note("does not answer \"Extension\" (asked only by tools that list encoders)");
        return u".out";
    }
    const auto* ext = static_cast<const char16_t*>(value.pointer1);
    if (!ext || ext[0] != u'.') {
        report.Violation(Rule::Extension, "\"Extension\" needs pointer1 = the output's extension "
                                          "with its dot");
        return u".out";
    }
    report.Note("writes " + Narrow(ext) + " files");
    return ext;
}

// The questions the host asks before a conversion; true when the encoder takes sources raw.
bool AskRunValues(clTwEncoder& encoder, const CheckJob& job, Report& report) {
    String input = u"input.wav", output = u"output";
    String options = job.options;
    PluginValue raw{};
    raw.pointer1 = input.data();
    raw.pointer2 = options.data();
    raw.pointer3 = output.data();
    PluginValue hq{}, gain{};
    hq.pointer1 = options.data();
    CallGuard guard("ENC_Get of the run values");
    encoder.Get(WM_VALUE_NEED_HQ_AUDIO, &hq);
    encoder.Get(WM_VALUE_SEND_OVER_REPLAYGAIN_TAGS, &gain);
    if (!encoder.Get(WM_VALUE_SEND_RAW_UNCOMPRESSED, &raw))
        return false;
    report.Note("takes sources over raw (\"SendRawUnCompressed\"): that path reads a real source "
                "file and is not driven here");
    return true;
}

// Whether the output is said to decode to exactly the audio encoded, asked as the host asks it
// once the encoder has ended.
bool AnswersLossless(clTwEncoder& encoder, const CheckJob& job) {
    String options = job.options;
    PluginValue value{};
    value.pointer1 = options.data();
    CallGuard guard("ENC_Get \"Lossless\"");
    return encoder.Get(WM_VALUE_LOSSLESS, &value) != 0;
}

// The encoder's lines that are not errors, as the host asks them once a run has ended.
StringList Information(clTwEncoder& encoder) {
    CallGuard guard("ENC_Get \"Information\"");
    return encoder.Information();
}

AudioBlockInfo BlockAt(const std::vector<uint8_t>& audio, uint64_t at, uint32_t length,
                       const WmWaveFormat& f) {
    AudioBlockInfo block{};
    block.data = length ? const_cast<uint8_t*>(audio.data() + at) : nullptr;
    block.length = length;
    block.format = f;
    block.bitRate = f.avgBytesPerSec * 8;
    block.msDuration = BytesToMs(length, f);
    block.msPosition = BytesToMs(at, f);
    return block;
}

// The blocks, the last one empty; false when the encoder stopped taking them.
bool EncodeBlocks(clTwEncoder& encoder, const Conversion& c, const std::vector<uint8_t>& audio,
                  Report& report) {
    uint64_t at = 0;
    std::vector<uint32_t> sizes =
        BlockSizes(static_cast<uint32_t>(audio.size()), c.format.blockAlign);
    // The host ends with an empty block carrying the end flag; its data pointer is null when an
    // effect is in the chain, so it is sent null here.
    sizes.push_back(0);
    for (size_t i = 0; i < sizes.size(); ++i) {
        AudioBlockInfo block = BlockAt(audio, at, sizes[i], c.format);
        block.endOfStream = i + 1 == sizes.size();
        CallGuard guard(sizes[i] ? "ENC_EncodeBlock"
                                 : "ENC_EncodeBlock of the empty last block (null data)");
        if (!encoder.EncodeBlock(&block)) {
            report.Violation(Rule::Encode,
                             "\"ENC_EncodeBlock\" refused " +
                                 (sizes[i] ? "a block of " + std::to_string(sizes[i]) + " bytes"
                                           : std::string("the empty last block (null "
                                                         "data, end flag set)")) +
                                 Reason(encoder, report));
            return false;
        }
        at += sizes[i];
    }
    return true;
}

// Begin, the blocks, and the empty end block; false when the encoder stopped taking them.
bool Encode(clTwEncoder& encoder, Conversion& c, const std::vector<uint8_t>& audio,
            Report& report) {
    {
        CallGuard guard("ENC_BeginConversion");
        if (!encoder.BeginConversion(&c.info)) {
            report.Violation(Rule::Begin, "\"ENC_BeginConversion\" of " + Describe(c.format) +
                                              " PCM failed" + Reason(encoder, report));
            return false;
        }
    }
    CheckCommunicate(encoder, u"BeforeEncoding", report);
    if (!EncodeBlocks(encoder, c, audio, report))
        return false;
    CheckCommunicate(encoder, u"EndEncoding", report);
    return true;
}

bool End(clTwEncoder& encoder, Conversion& c, uint32_t* tagAfterwards, Report& report) {
    CallGuard guard("ENC_EndConversion");
    if (encoder.EndConversion(&c.info, tagAfterwards))
        return true;
    if (!c.info.runError)
        report.Violation(Rule::End, "\"ENC_EndConversion\" failed" + Reason(encoder, report));
    return false;
}

// The files the encoder says it wrote ("FileName1", ...), else the output path.
std::vector<String> Reported(const Conversion& c) {
    std::vector<String> names;
    if (c.info.secondData && c.info.secondSize) {
        IDTagSet set;
        set.Deserialize(c.info.secondData, c.info.secondSize);
        for (int i = 1; !set.GetValue(u"FileName" + Widen(std::to_string(i))).empty(); ++i)
            names.push_back(set.GetValue(u"FileName" + Widen(std::to_string(i))));
    }
    return names;
}

void CheckWrittenFiles(const Conversion& c, Report& report) {
    if (c.info.secondData || c.info.secondSize)
        if (std::string problem = TagBlockProblem(c.info.secondData, c.info.secondSize);
            !problem.empty())
            report.Violation(Rule::SecondBlock,
                             "the second block handed back by \"ENC_EndConversion\" (the files "
                             "written) is damaged" +
                                 FaultOf(c.info.secondData, c.info.secondSize) + problem +
                                 "; the host reads the output names from it");
    std::vector<uint8_t> bytes;
    if (!ReadFileBytes(c.output, bytes) || bytes.empty())
        report.Violation(Rule::OutputEmpty, "nothing was written to the output path the host gave");
    else if (!FileIsClosed(c.output))
        report.Violation(Rule::OutputOpen, "the output is still open after \"ENC_EndConversion\": "
                                           "the host must move it into place");
    const std::vector<String> reported = Reported(c);
    for (const String& name : FilesIn(c.folder)) {
        const bool named = std::any_of(reported.begin(), reported.end(), [&](const String& r) {
            return EndsWithNoCase(r, u"\\" + name);
        });
        if (c.folder + name != c.output && !named)
            report.Violation(Rule::OutputElsewhere,
                             "wrote " + Quoted(name) +
                                 " beside the output: write exactly the "
                                 "outputPath (it may be a temporary name), "
                                 "or report extra files as \"FileName1\"...");
    }
}

// Begins a conversion with `commandLine` and ends it as a failed run; false, with the reason,
// when the encoder refused to begin.
bool Begins(clTwEncoder& encoder, const CheckJob& job, const String& extension,
            const String& commandLine, std::string& reason, Report& report) {
    Conversion c;
    Prepare(c, NewWorkFolder("encoder-options"), extension, job);
    c.info.commandLine = commandLine.c_str();
    {
        CallGuard guard("ENC_BeginConversion");
        if (!encoder.BeginConversion(&c.info)) {
            reason = Reason(encoder, report);
            return false;
        }
    }
    c.info.runError = 1;
    uint32_t tagAfterwards = 0;
    CallGuard guard("ENC_EndConversion");
    encoder.EndConversion(&c.info, &tagAfterwards);
    return true;
}

// A made-up option must be refused with a reason; the host's own that reach every encoder must
// not be.
void CheckOptions(clTwEncoder& encoder, const CheckJob& job, const String& extension,
                  Report& report) {
    std::string reason;
    if (Begins(encoder, job, extension, job.options + u" -plugin-check-made-up=\"1\"", reason,
               report))
        report.Violation(Rule::OptionsIgnored,
                         "began a conversion with the made-up option -plugin-check-made-up=\"1\": "
                         "refuse an option you do not know in \"ENC_BeginConversion\", with a "
                         "reason in \"LastError\", or a user's misspelt option is ignored "
                         "without a word");
    else if (reason.empty())
        report.Violation(Rule::OptionsReason, "refused the made-up option -plugin-check-made-up "
                                              "without a reason in \"LastError\": the host's error "
                                              "line would not name it");
    reason.clear();
    if (!Begins(encoder, job, extension, job.options + u" -sourceisfloat -help", reason, report))
        report.Violation(Rule::OptionsHost,
                         "refused the options the host passes to every encoder (-sourceisfloat, "
                         "-help)" +
                             reason + ": they are not yours; ignore them");
    // A -dspeffectN is an effect the host could not take: ignoring it or refusing it with a
    // reason that names it both serve the user; refusing it without one does not.
    reason.clear();
    if (!Begins(encoder, job, extension, job.options + u" -dspeffect9=\"Echo=1\"", reason,
                report) &&
        reason.find("dspeffect") == std::string::npos)
        report.Violation(Rule::OptionsHost,
                         "refused -dspeffect9=\"Echo=1\", which the host passes on after a gap "
                         "in the effects' numbers, without naming it" +
                             reason + ": ignore it, or say it is an effect the host did not take");
}

// A run that failed midway: the encoder ends with runError 1 and must still close the file.
void CheckFailedRun(clTwEncoder& encoder, const CheckJob& job, const String& extension,
                    const std::vector<uint8_t>& audio, Report& report) {
    Conversion c;
    Prepare(c, NewWorkFolder("encoder-failed"), extension, job);
    {
        CallGuard guard("ENC_BeginConversion");
        if (!encoder.BeginConversion(&c.info))
            return;
    }
    AudioBlockInfo block = BlockAt(audio, 0, 4096, c.format);
    {
        CallGuard guard("ENC_EncodeBlock");
        encoder.EncodeBlock(&block);
    }
    c.info.runError = 1;
    uint32_t tagAfterwards = 0;
    End(encoder, c, &tagAfterwards, report);
    if (!FileIsClosed(c.output))
        report.Violation(Rule::FailedOpen, "after a failed run (runError 1) the output is still "
                                           "open: close it in \"ENC_EndConversion\"; the host "
                                           "deletes it");
}

// Begin, blocks and end of one conversion of `audio` in `format`, with the written files checked;
// false when the encoder refused the format (with a reason) or a rule broke.
bool ConvertFormat(clTwEncoder& encoder, const CheckJob& job, const String& extension,
                   const WmWaveFormat& format, const std::vector<uint8_t>& audio, Report& report) {
    Conversion c;
    c.format = format;
    Prepare(c, NewWorkFolder("encoder-format"), extension, job);
    {
        CallGuard guard("ENC_BeginConversion");
        if (!encoder.BeginConversion(&c.info)) {
            NoteFormatRefusal(encoder, "\"ENC_BeginConversion\"", format, report);
            return false;
        }
    }
    if (!EncodeBlocks(encoder, c, audio, report))
        return false;
    uint32_t tagAfterwards = 0;
    if (!End(encoder, c, &tagAfterwards, report))
        return false;
    CheckWrittenFiles(c, report);
    CheckReadBack(c.output, audio, format, Information(encoder), AnswersLossless(encoder, job),
                  report);
    return true;
}

// Every format a decoder may deliver, each read back where an installed decoder reads the
// output: a header written for one format only shows with the others.
void CheckFormatMatrix(clTwEncoder& encoder, const CheckJob& job, const String& extension,
                       Report& report) {
    const WmWaveFormat formats[] = {MakeFormat(1, 8000, 8),          MakeFormat(2, 22050, 24),
                                    MakeFormat(6, 48000, 32),        MakeFormat(8, 96000, 16),
                                    MakeFormat(2, 192000, 32, true), MakeFormat(1, 32000, 64, true),
                                    MakeFormat(6, 11025, 16),        MakeFormat(2, 88200, 8)};
    int taken = 0;
    for (const WmWaveFormat& format : formats) {
        ReportContext context(report, Describe(format) + " audio");
        taken += ConvertFormat(encoder, job, extension, format, SineAudio(format, 1000), report);
    }
    report.Passed("encoded " + std::to_string(taken) + " of " + std::to_string(std::size(formats)) +
                  " formats (8 to 32-bit integer, 32 and 64-bit float, 1 to 8 channels, 8 to "
                  "192 kHz); the others refused with a reason");
}

// Users run converters side by side, each with an encoder of its own: two instances encoding
// at once, block by block in turn, must each write what one alone writes.
void CheckTwoEncoders(const CheckJob& job, const String& extension,
                      const std::vector<uint8_t>& audio, const ReadBack& alone, Report& report) {
    if (!alone.read)
        return;
    Guarded<clTwEncoder> encoders[2];
    Conversion c[2];
    for (int i = 0; i < 2; ++i) {
        Prepare(c[i], NewWorkFolder(i ? "encoder-two-b" : "encoder-two-a"), extension, job);
        if (!Bind(encoders[i], job.library, "ENC_Create", report))
            return;
        CallGuard guard("ENC_BeginConversion");
        if (!encoders[i].BeginConversion(&c[i].info)) {
            report.Violation(Rule::TwoEncoders, "a second instance cannot begin while the first "
                                                "is converting" +
                                                    Reason(encoders[i], report));
            return;
        }
    }
    std::vector<uint32_t> sizes = BlockSizes(static_cast<uint32_t>(audio.size()), 4);
    sizes.push_back(0);
    uint64_t at = 0;
    for (size_t b = 0; b < sizes.size(); at += sizes[b], ++b)
        for (clTwEncoder& encoder : encoders) {
            AudioBlockInfo block = BlockAt(audio, at, sizes[b], CheckFormat());
            block.endOfStream = b + 1 == sizes.size();
            CallGuard guard("ENC_EncodeBlock");
            encoder.EncodeBlock(&block);
        }
    for (int i = 0; i < 2; ++i) {
        uint32_t tagAfterwards = 0;
        CallGuard guard("ENC_EndConversion");
        encoders[i].EndConversion(&c[i].info, &tagAfterwards);
    }
    for (const Conversion& conversion : c) {
        const ReadBack both = ReadOutputBack(conversion.output);
        if (!both.read || both.audio != alone.audio) {
            report.Violation(Rule::TwoEncoders,
                             "two instances encoding at once write other audio than one alone "
                             "(read back through " +
                                 Narrow(alone.decoder) +
                                 "): keep all state in the instance, none in globals");
            return;
        }
    }
    report.Passed("two instances encoding at once each write what one alone writes");
}

} // namespace

void CheckEncoder(const CheckJob& job, Report& report) {
    Guarded<clTwEncoder> encoder;
    if (!Bind(encoder, job.library, "ENC_Create", report))
        return;
    CheckUnknownValue(encoder, report,
                      ": the host asks \"SendRawUnCompressed\" first and takes a yes as a raw "
                      "take-over, calling only \"ENC_BeginConversion\", so every run would end "
                      "with status 0 and whatever that call wrote");
    const String extension = AskExtension(encoder, report);
    if (AskRunValues(encoder, job, report))
        return;
    CheckOptions(encoder, job, extension, report);
    const std::vector<uint8_t> audio = SineAudio(kAudioMs);
    Conversion c;
    Prepare(c, NewWorkFolder("encoder"), extension, job);
    uint32_t tagAfterwards = 0;
    CheckCommunicate(encoder, u"BeforeOpen", report);
    const bool peakAsked = AskDecodedPeak(encoder);
    if (!Encode(encoder, c, audio, report) || !End(encoder, c, &tagAfterwards, report))
        return;
    CheckCommunicate(encoder, u"AfterConversion", report);
    CheckWrittenFiles(c, report);
    CheckReadBack(c.output, audio, c.format, Information(encoder), AnswersLossless(encoder, job),
                  report);
    const ReadBack alone = ReadOutputBack(c.output);
    if (peakAsked)
        CheckDecodedPeak(encoder, alone, report);
    if (tagAfterwards)
        report.Note("asks for tags afterwards: the decoder that reads " + Narrow(extension) +
                    " files must write them through \"IDTags\"");
    AudioBlockInfo late = BlockAt(audio, 0, 4096, c.format);
    {
        CallGuard guard("ENC_EncodeBlock after ENC_EndConversion");
        if (encoder.EncodeBlock(&late))
            report.Violation(Rule::AfterEnd, "\"ENC_EncodeBlock\" after \"ENC_EndConversion\" "
                                             "returned non-zero: a finished encoder must answer 0");
    }
    report.Passed("encoded " + std::to_string(audio.size()) + " bytes in " +
                  std::to_string(BlockSizes(static_cast<uint32_t>(audio.size()), 4).size() + 1) +
                  " blocks");
    CheckFailedRun(encoder, job, extension, audio, report);
    CheckFormatMatrix(encoder, job, extension, report);
    CheckTwoEncoders(job, extension, audio, alone, report);
}

} // namespace wm::check
