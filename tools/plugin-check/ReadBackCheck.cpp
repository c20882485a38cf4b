// An encoder's output read back through the installed decoder of its extension (beside
// plugin-check.exe, as beside Wavemill.exe) and compared with the audio that was encoded:
// catches headers whose sizes are never patched and samples written in another layout.
#include "files/PathText.h"
#include "plugins/clTwCodecHandler.h"
#include "tools/plugin-check/Checks.h"

#include <cmath>

namespace wm::check {

namespace {

// A loud difference: lossy codecs keep far more than 20 dB on a plain sine.
constexpr double kMinSignalToDifferenceDb = 20;

bool FindDecoderFor(const String& extension, clTwDecoder& decoder, String& name) {
    const String folder = ProgramFolder() + u"decoder\\";
    for (const String& file : FilesIn(folder)) {
        if (!EndsWithNoCase(file, u".dll"))
            continue;
        CallGuard guard("an installed decoder (not the plug-in checked)");
        if (clTwCodecHandler().TryDecoder(folder + file, extension, decoder, HostContext(),
                                          false)) {
            name = u"decoder\\" + file;
            return true;
        }
    }
    return false;
}

// The whole audio of a file; false, with why, when the decoder refuses it.
bool ReadAll(clTwDecoder& decoder, const String& path, std::vector<uint8_t>& audio,
             WmWaveFormat& format, std::string& why, StringList& information) {
    CallGuard guard("an installed decoder (not the plug-in checked)");
    DecodeOpenInfo info{};
    info.path = path.c_str();
    info.openMode = WM_OPEN_CONVERT;
    if (!decoder.Open(&info)) {
        why = "it cannot open the output: " + Narrow(decoder.LastError());
        return false;
    }
    format = info.format;
    for (uint32_t blocks = 0; blocks < (1u << 20); ++blocks) {
        AudioBlockInfo block{};
        if (!decoder.DecodeBlock(&block)) {
            why = "it fails on the output after " + std::to_string(audio.size()) +
                  " bytes: " + Narrow(decoder.LastError());
            break;
        }
        if (block.data && block.length)
            audio.insert(audio.end(), static_cast<const uint8_t*>(block.data),
                         static_cast<const uint8_t*>(block.data) + block.length);
        if (block.endOfStream)
            break;
    }
    ConversionInfo conversion{};
    decoder.Close(&conversion);
    information = decoder.Information();
    return why.empty();
}

double SignalToDifferenceDb(const std::vector<double>& a, const std::vector<double>& b) {
    double signal = 0, difference = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        signal += a[i] * a[i];
        difference += (a[i] - b[i]) * (a[i] - b[i]);
    }
    return difference == 0 ? INFINITY : 10 * std::log10(signal / difference);
}

// A codec that decodes at a rate of its own (Opus at 48 kHz): the samples cannot be set side by
// side, but the length must still be the encoded one, to a millisecond.
void CompareDurations(const std::string& through, size_t sentFrames, const WmWaveFormat& sentFormat,
                      size_t gotFrames, const WmWaveFormat& gotFormat, Report& report) {
    const double sentMs = 1000.0 * static_cast<double>(sentFrames) / sentFormat.samplesPerSec;
    const double gotMs = 1000.0 * static_cast<double>(gotFrames) / gotFormat.samplesPerSec;
    if (std::fabs(sentMs - gotMs) > 1)
        report.Violation("read-back", through + "lasts " + std::to_string(gotMs) + " ms at " +
                                          std::to_string(gotFormat.samplesPerSec) + " Hz; " +
                                          std::to_string(sentMs) + " ms were encoded");
    else
        report.Passed(through + "comes back at " + std::to_string(gotFormat.samplesPerSec) +
                      " Hz with the length encoded (the decoder's own rate: samples not compared)");
}

} // namespace

void CheckReadBack(const String& output, const std::vector<uint8_t>& audio,
                   const WmWaveFormat& format, Report& report) {
    clTwDecoder decoder;
    String name;
    if (!FindDecoderFor(ExtensionOf(output), decoder, name)) {
        report.Note("no installed decoder reads " + Narrow(ExtensionOf(output)) +
                    " files: the output was not read back");
        return;
    }
    const std::string through = "read back through " + Narrow(name) + ", the output ";
    std::vector<uint8_t> decoded;
    WmWaveFormat back{};
    std::string why;
    StringList information;
    if (!ReadAll(decoder, output, decoded, back, why, information)) {
        report.Violation("read-back", Narrow(name) + " cannot read the output back: " + why);
        return;
    }
    // A file just written needs no allowance: a decoder that had to work around it (a header
    // whose sizes were never written, say) says so.
    for (const String& line : information)
        report.Violation("read-back", through + "needed a workaround: " + Narrow(line));
    const std::vector<double> sent = SampleValues(audio, format), got = SampleValues(decoded, back);
    if (back.channels == format.channels && back.samplesPerSec != format.samplesPerSec)
        CompareDurations(through, sent.size() / format.channels, format, got.size() / back.channels,
                         back, report);
    else if (back.channels != format.channels || back.samplesPerSec != format.samplesPerSec)
        report.Violation("read-back", through + "is " + Describe(back) + "; " + Describe(format) +
                                          " was encoded");
    else if (got.size() != sent.size())
        report.Violation("read-back",
                         through + "holds " + std::to_string(got.size() / back.channels) +
                             " sample frames; " + std::to_string(sent.size() / format.channels) +
                             " were encoded (are the header's sizes written at the end?)");
    else if (const double db = SignalToDifferenceDb(sent, got); db < kMinSignalToDifferenceDb)
        report.Violation("read-back", through +
                                          "differs from the audio encoded (signal to "
                                          "difference " +
                                          std::to_string(static_cast<int>(db)) + " dB)");
    else
        report.Passed(through + (std::isinf(db)
                                     ? "is sample for sample the audio encoded"
                                     : "matches the audio encoded (signal to "
                                       "difference " +
                                           std::to_string(static_cast<int>(db)) + " dB)"));
}

} // namespace wm::check
