#include "tools/plugin-check/EffectPasses.h"

#include "files/FileOps.h"

#include <algorithm>
#include <cmath>

namespace wm::check {

namespace {

// One block handed back against the rules; returns the bytes in a buffer of the effect's own.
uint32_t CheckLiveBlock(const AudioBlockInfo& block, const void* given, Report& report) {
    if (std::string problem = FormatProblem(block.format); !problem.empty())
        report.Violation(Rule::LiveFormat, "the block handed back has a wrong format" +
                                               FaultOf(block.format) + problem);
    if (!IsWholeFrames(block.length, block.format))
        report.Violation(Rule::LiveFrames, "handed back " + std::to_string(block.length) +
                                               " bytes, not whole " +
                                               std::to_string(FrameBytes(block.format)) +
                                               "-byte frames of the format it declares: the host "
                                               "fails the run on it");
    if (block.length && !block.data)
        report.Violation(Rule::LiveNull, "handed back a block with bytes but no data pointer");
    return block.data != given ? block.length : 0;
}

void Refused(const std::string& call, const WmWaveFormat& format, Refusal refusal, clTwDSP& dsp,
             Report& report) {
    if (refusal == Refusal::Allowed)
        NoteFormatRefusal(dsp, call, format, report);
    else
        report.Violation(Rule::FormatRefused,
                         call + " failed on " + Describe(format) + Reason(dsp, report));
}

// One block through the effect; false when it refused it.
bool PassBlock(clTwDSP& dsp, const AudioPiece& piece, uint64_t at, bool last, Refusal refusal,
               PassResult& result, Report& report) {
    std::vector<uint8_t> input = piece.bytes;
    AudioBlockInfo block = BlockOf(input, at, piece.format);
    block.endOfStream = last;
    const void* given = block.data;
    CallGuard guard(input.empty() ? "DSP_PassAudioBlock of the empty last block (null data)"
                                  : "DSP_PassAudioBlock");
    if (!dsp.PassAudioBlock(&block)) {
        Refused("\"DSP_PassAudioBlock\" of " + std::to_string(input.size()) + " bytes",
                piece.format, refusal, dsp, report);
        return false;
    }
    if (input != piece.bytes)
        report.Violation(Rule::WritesInput, "wrote into the block it was given: that memory is "
                                            "the decoder's or the previous effect's; hand back a "
                                            "buffer of your own");
    result.handedBack += CheckLiveBlock(block, given, report);
    result.msHandedBack += DurationMs(block.length, block.format);
    const auto* data = static_cast<const uint8_t*>(block.data);
    result.output.push_back(
        {data ? std::vector<uint8_t>(data, data + block.length) : std::vector<uint8_t>(),
         block.format});
    return true;
}

// The rewritten file against the rules; false when it cannot be read back whole.
bool CheckRewrittenFile(const String& rendered, const WmWaveFormat& format, uint64_t given,
                        std::vector<uint8_t>& result, Report& report) {
    if (!ReadFileBytes(rendered, result)) {
        if (FileExists(rendered))
            report.Violation(Rule::NonLiveOpen, "the rendered file is still open (locked) after "
                                                "\"DSP_PassNonLive\": close it before you return, "
                                                "or the host cannot read it back");
        else
            report.Violation(Rule::NonLiveFile, "the rendered file is gone after "
                                                "\"DSP_PassNonLive\": rewrite it in place");
        return false;
    }
    if (!IsWholeFrames(result.size(), format)) {
        report.Violation(Rule::NonLiveFrames,
                         "the rewritten file holds " + std::to_string(result.size()) +
                             " bytes, not whole " + std::to_string(FrameBytes(format)) +
                             "-byte frames");
        return false;
    }
    if (!FileIsClosed(rendered)) {
        report.Violation(Rule::NonLiveOpen, "the rendered file is still open (locked) after "
                                            "\"DSP_PassNonLive\": close it before you return");
        return false;
    }
    CheckDuration(DurationMs(given, format), DurationMs(result.size(), format), report);
    return true;
}

} // namespace

AudioBlockInfo BlockOf(std::vector<uint8_t>& bytes, uint64_t at, const WmWaveFormat& format) {
    AudioBlockInfo block{};
    block.data = bytes.empty() ? nullptr : bytes.data();
    block.length = static_cast<uint32_t>(bytes.size());
    block.format = format;
    block.bitRate = format.avgBytesPerSec * 8;
    block.msDuration = BytesToMs(bytes.size(), format);
    block.msPosition = ExpectedPositionMs(at, format);
    return block;
}

WmWaveFormat OutputFormat(const PassResult& result, const WmWaveFormat& given) {
    for (const AudioPiece& piece : result.output)
        if (!piece.bytes.empty())
            return piece.format;
    return given;
}

Pieces CutIntoBlocks(const std::vector<uint8_t>& audio, const WmWaveFormat& format) {
    Pieces pieces;
    uint64_t at = 0;
    for (uint32_t size : BlockSizes(static_cast<uint32_t>(audio.size()), format.blockAlign)) {
        const auto from = audio.begin() + static_cast<std::ptrdiff_t>(at);
        pieces.push_back({std::vector<uint8_t>(from, from + size), format});
        at += size;
    }
    pieces.push_back({{}, format});
    return pieces;
}

std::vector<uint8_t> Joined(const Pieces& pieces) {
    std::vector<uint8_t> all;
    for (const AudioPiece& piece : pieces)
        all.insert(all.end(), piece.bytes.begin(), piece.bytes.end());
    return all;
}

ConversionInfo EffectConversion(const WmWaveFormat& source) {
    ConversionInfo conversion{};
    conversion.inputPath = u"input.wav";
    conversion.outputPath = u"output.wav";
    conversion.commandLine = u"";
    conversion.sourceFormat = &source;
    return conversion;
}

PassResult LivePass(clTwDSP& dsp, const String& settings, const WmWaveFormat& source,
                    const Pieces& input, Refusal refusal, Report& report) {
    PassResult result;
    ConversionInfo conversion = EffectConversion(source);
    {
        CallGuard guard("DSP_BeginConversion");
        if (!dsp.BeginConversion(&conversion, settings.c_str())) {
            Refused("\"DSP_BeginConversion\"", source, refusal, dsp, report);
            return result;
        }
    }
    uint64_t at = 0;
    result.complete = true;
    for (size_t i = 0; i < input.size(); ++i) {
        if (!PassBlock(dsp, input[i], at, i + 1 == input.size(), refusal, result, report)) {
            result.complete = false;
            break;
        }
        at += input[i].bytes.size();
        result.msGiven += DurationMs(input[i].bytes.size(), input[i].format);
    }
    CallGuard guard("DSP_EndConversion");
    if (!dsp.EndConversion(&conversion))
        report.Violation(Rule::LiveEnd, "\"DSP_EndConversion\" failed" + Reason(dsp, report));
    return result;
}

PassResult NonLivePass(clTwDSP& dsp, const String& settings, const WmWaveFormat& format,
                       const std::vector<uint8_t>& audio, Refusal refusal, Report& report) {
    PassResult result;
    // A folder per pass, so that a file an earlier pass left open cannot spoil the next one.
    static int pass = 0;
    const String rendered =
        NewWorkFolder(("effect-" + std::to_string(++pass)).c_str()) + u"rendered.tmp";
    WriteFileBytes(rendered, audio.data(), audio.size());
    {
        CallGuard guard("DSP_PassNonLive");
        if (!dsp.PassNonLive(rendered.c_str(), &format, settings.c_str(), nullptr)) {
            Refused("\"DSP_PassNonLive\"", format, refusal, dsp, report);
            return result;
        }
    }
    AudioPiece rewritten{{}, format};
    result.complete = CheckRewrittenFile(rendered, format, audio.size(), rewritten.bytes, report);
    result.output.push_back(std::move(rewritten));
    return result;
}

PassResult PassOnce(clTwDSP& dsp, const String& settings, bool live, const WmWaveFormat& format,
                    const std::vector<uint8_t>& audio, Refusal refusal, Report& report) {
    if (live)
        return LivePass(dsp, settings, format, CutIntoBlocks(audio, format), refusal, report);
    return NonLivePass(dsp, settings, format, audio, refusal, report);
}

double DurationMs(uint64_t bytes, const WmWaveFormat& f) {
    return f.avgBytesPerSec ? static_cast<double>(bytes) * 1000 / f.avgBytesPerSec : 0;
}

void CheckDuration(double given, double handedBack, Report& report) {
    if (std::abs(handedBack - given) <= 20 + given / 50)
        return;
    report.Violation(Rule::Duration, "the audio handed back lasts " +
                                         std::to_string(static_cast<int64_t>(handedBack)) +
                                         " ms by the format declared for it; the audio given "
                                         "lasted " +
                                         std::to_string(static_cast<int64_t>(given)) +
                                         " ms: declare the format of the bytes you hand back "
                                         "(rate, sample type, bits and channels)");
}

} // namespace wm::check
