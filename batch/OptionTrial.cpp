#include "batch/OptionTrial.h"

#include "batch/BatchReport.h"
#include "files/FileOps.h"
#include "protocol/CommandText.h"
#include "protocol/ConverterOptions.h"

#include <windows.h>

namespace wm {

namespace {

// Standard input is NUL for a converter of the batch: no audio, so the encoder begins in this
// format and ends at once.
String SilentSource() {
    return OptionText(option::kSourceFreq, u"44100") + OptionText(option::kSourceChannels, u"2") +
           OptionText(option::kSourceBits, u"16") + OptionText(option::kSourceLength, u"0");
}

// Conversion numbers start at 1: 0 keeps the trial's kernel objects apart from theirs.
constexpr uint32_t kTrialNumber = 0;

} // namespace

String TryOptions(const ConversionSetup& setup, const String& extension) {
    ConversionSetup trial = setup;
    trial.passThrough = SilentSource() + setup.passThrough;
    const String output = setup.commandFolder + u"trial" + extension;
    Conversion conversion({{u"-", u"-", {}}, output, 0, String(), {}}, trial, kTrialNumber);
    const uint64_t startMs = ::GetTickCount64();
    if (conversion.Start(0))
        while (conversion.Poll(::GetTickCount64() - startMs))
            ::WaitForSingleObject(conversion.Process(), 100);
    const FileOutcome outcome = conversion.Finish(::GetTickCount64() - startMs);
    DeleteFilePath(output);
    if (outcome.status == FileStatus::kConverted)
        return String();
    // The user never sees the trial's file: the reason names the trial instead.
    String reason = InUserNames(outcome.reason, BatchTempName(output), u"the settings trial");
    constexpr StringView kErrorMark = u"Error: ";
    return reason.starts_with(kErrorMark) ? reason.substr(kErrorMark.size()) : reason;
}

} // namespace wm
