// An encoder's output read back through the installed decoder of its extension (beside
// plugin-check.exe, as beside Wavemill.exe) and compared with the audio that was encoded:
// catches headers whose sizes are never patched and samples written in another layout.
#include "files/Folders.h"
#include "files/PathText.h"
#include "plugins/PluginFolder.h"
#include "plugins/clTwCodecHandler.h"
#include "tools/plugin-check/Checks.h"

#include <cmath>

namespace wm::check {

namespace {

// A loud difference: lossy codecs keep far more than 20 dB on a plain sine.
constexpr double kMinSignalToDifferenceDb = 20;

bool FindDecoderFor(const String& extension, clTwDecoder& decoder, String& name) {
    const String folder = PluginFolder(ProgramFolder(), u"decoder");
    for (const String& library : PluginLibraries(folder)) {
        CallGuard guard("an installed decoder (not the plug-in checked)");
        if (clTwCodecHandler().TryDecoder(library, extension, decoder, HostContext(), false)) {
            name = u"decoder\\" + FileNamePart(library);
            return true;
        }
    }
    return false;
}

// The whole audio of a file; false, with why, when the decoder refuses it.
bool ReadAll(clTwDecoder& decoder, const String& path, ReadBack& back) {
    CallGuard guard("an installed decoder (not the plug-in checked)");
    DecodeOpenInfo info{};
    info.path = path.c_str();
    info.openMode = WM_OPEN_CONVERT;
    if (!decoder.Open(&info)) {
        back.why = "it cannot open the output: " + Narrow(decoder.LastError());
        return false;
    }
    back.format = info.format;
    for (uint32_t blocks = 0; blocks < (1u << 20); ++blocks) {
        AudioBlockInfo block{};
        if (!decoder.DecodeBlock(&block)) {
            back.why = "it fails on the output after " + std::to_string(back.audio.size()) +
                       " bytes: " + Narrow(decoder.LastError());
            break;
        }
        if (block.data && block.length)
            back.audio.insert(back.audio.end(), static_cast<const uint8_t*>(block.data),
                              static_cast<const uint8_t*>(block.data) + block.length);
        if (block.endOfStream)
            break;
    }
    ConversionInfo conversion{};
    decoder.Close(&conversion);
    back.information = decoder.Information();
    return back.why.empty();
}

// A codec that decodes at a rate of its own (Opus at 48 kHz): the samples cannot be set side by
// side, but the length must still be the encoded one, to a millisecond.
void CompareDurations(const std::string& through, size_t sentFrames, const WmWaveFormat& sentFormat,
                      size_t gotFrames, const WmWaveFormat& gotFormat, Report& report) {
    const double sentMs = 1000.0 * static_cast<double>(sentFrames) / sentFormat.samplesPerSec;
    const double gotMs = 1000.0 * static_cast<double>(gotFrames) / gotFormat.samplesPerSec;
    if (std::fabs(sentMs - gotMs) > 1)
        report.Violation(Rule::ReadBack, through + "lasts " + std::to_string(gotMs) + " ms at " +
                                             std::to_string(gotFormat.samplesPerSec) + " Hz; " +
                                             std::to_string(sentMs) + " ms were encoded");
    else
        report.Passed(through + "comes back at " + std::to_string(gotFormat.samplesPerSec) +
                      " Hz with the length encoded (the decoder's own rate: samples not compared)");
}

} // namespace

ReadBack ReadOutputBack(const String& output) {
    ReadBack back;
    clTwDecoder decoder;
    back.found = FindDecoderFor(ExtensionOf(output), decoder, back.decoder);
    back.read = back.found && ReadAll(decoder, output, back);
    return back;
}

namespace {

// The output read back against the audio encoded: its shape, its length and its samples.
void CompareReadBack(const std::string& through, const std::vector<uint8_t>& audio,
                     const WmWaveFormat& format, const ReadBack& read,
                     const StringList& encoderInformation, bool lossless, Report& report) {
    const WmWaveFormat& back = read.format;
    const std::vector<double> sent = SampleValues(audio, format),
                              got = SampleValues(read.audio, back);
    // The host takes the answer's word and measures the peak before the codec.
    if (lossless && (back.channels != format.channels ||
                     back.samplesPerSec != format.samplesPerSec || got != sent))
        report.Violation(Rule::Lossless, through + "is not sample for sample the audio encoded, "
                                                   "yet the encoder answers \"Lossless\"");
    if (back.channels == format.channels && back.samplesPerSec != format.samplesPerSec)
        CompareDurations(through, sent.size() / format.channels, format, got.size() / back.channels,
                         back, report);
    else if (back.channels != format.channels || back.samplesPerSec != format.samplesPerSec)
        report.Violation(Rule::ReadBack, through + "is " + Describe(back) + "; " +
                                             Describe(format) + " was encoded");
    else if (got.size() != sent.size() && !encoderInformation.empty())
        report.Note(through + "holds " + std::to_string(got.size() / back.channels) +
                    " sample frames; " + std::to_string(sent.size() / format.channels) +
                    " were encoded, and the encoder said: " + Narrow(encoderInformation.front()));
    else if (got.size() != sent.size())
        report.Violation(Rule::ReadBack,
                         through + "holds " + std::to_string(got.size() / back.channels) +
                             " sample frames; " + std::to_string(sent.size() / format.channels) +
                             " were encoded (are the header's sizes written at the end?)");
    else if (const double db = SignalToDifferenceDb(sent, got); !(db >= kMinSignalToDifferenceDb))
        report.Violation(Rule::ReadBack, through +
                                             "differs from the audio encoded (signal to "
                                             "difference " +
                                             DecibelText(db) + ")");
    else
        report.Passed(through + (std::isinf(db) ? "is sample for sample the audio encoded"
                                                : "matches the audio encoded (signal to "
                                                  "difference " +
                                                      DecibelText(db) + ")"));
}

} // namespace

void CheckReadBack(const String& output, const std::vector<uint8_t>& audio,
                   const WmWaveFormat& format, const StringList& encoderInformation, bool lossless,
                   Report& report) {
    const ReadBack read = ReadOutputBack(output);
    if (!read.found) {
        report.Note("no installed decoder reads " + Narrow(ExtensionOf(output)) +
                    " files: the output was not read back");
        return;
    }
    const std::string name = Narrow(read.decoder);
    const std::string through = "read back through " + name + ", the output ";
    if (!read.read) {
        report.Violation(Rule::ReadBack, name + " cannot read the output back: " + read.why);
        return;
    }
    // A file just written needs no allowance: a decoder that had to work around it (a header
    // whose sizes were never written, say) says so.
    for (const String& line : read.information)
        report.Violation(Rule::ReadBack, through + "needed a workaround: " + Narrow(line));
    CompareReadBack(through, audio, format, read, encoderInformation, lossless, report);
}

} // namespace wm::check
