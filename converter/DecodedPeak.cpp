#include "converter/DecodedPeak.h"

#include "converter/LoudnessMeter.h"
#include "files/PathText.h"
#include "plugins/clTwCodecHandler.h"
#include "process/Log.h"

namespace wm {

namespace {

// A file decoder that keeps handing back nothing without ending is stuck, not slow.
constexpr unsigned kMaxEmptyBlocks = 1000;

// The decoder's reason, or what the host knows when it gives none.
String ReasonOf(clTwDecoder& decoder, StringView fallback) {
    const String reason = decoder.LastError();
    return reason.empty() ? String(fallback) : reason;
}

bool MeterAll(clTwDecoder& decoder, LoudnessMeter& meter, FlowHost& host, String& why) {
    unsigned empties = 0;
    for (;;) {
        if (host.QuitRequested()) {
            why = u"the run was asked to stop";
            return false;
        }
        AudioBlockInfo block{};
        if (!decoder.DecodeBlock(&block)) {
            why = ReasonOf(decoder, u"the decoder failed without a reason");
            return false;
        }
        if (block.length && !meter.Add(block.format, block.data, block.length)) {
            why = meter.Fault();
            return false;
        }
        if (block.endOfStream)
            return true;
        empties = block.length ? 0 : empties + 1;
        if (empties > kMaxEmptyBlocks) {
            why = u"the decoder stopped handing back audio before the end";
            return false;
        }
    }
}

bool DecodeAndMeter(clTwDecoder& decoder, const String& file, LoudnessMeter& meter, FlowHost& host,
                    String& why) {
    // The widest output a decoder offers: a float decode keeps an overshoot above full scale.
    static char16_t kHighest[] = u"Highest Quality";
    PluginValue quality{};
    quality.pointer1 = kHighest;
    decoder.Set(WM_VALUE_DECODE_AS, &quality);
    DecodeOpenInfo info{};
    info.path = file.c_str();
    info.openMode = WM_OPEN_CONVERT;
    if (!decoder.Open(&info)) {
        why = ReasonOf(decoder, u"the decoder could not open it");
        return false;
    }
    const bool metered = MeterAll(decoder, meter, host, why);
    ConversionInfo conversion{};
    conversion.runError = metered ? 0 : 1;
    if (!decoder.Close(&conversion) && metered) {
        why = ReasonOf(decoder, u"the decoder did not close");
        return false;
    }
    return metered;
}

} // namespace

bool DecodedPeak(const String& file, const String& programFolder, bool truePeak, FlowHost& host,
                 double& peak, String& why) {
    LogScope scope("TwWavemill::DecodedPeak");
    clTwDecoder decoder;
    if (!clTwCodecHandler().FindDecoder(file, decoder, LogHostContext(), programFolder, false)) {
        why = u"no decoder is installed for '" + ExtensionOf(file) + u"' files";
        return false;
    }
    LogLine(u"Measuring the peak of '" + file + u"' decoded through " +
            FileNamePart(decoder.LibraryPath()));
    LoudnessMeter meter(truePeak, MeterUse::PeakOnly);
    const bool ok = DecodeAndMeter(decoder, file, meter, host, why) && meter.Peak(peak);
    if (!ok && why.empty())
        why = meter.Fault();
    decoder.Unload();
    return ok;
}

} // namespace wm
