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

OptionTrial::OptionTrial(const ConversionSetup& setup, const String& extension)
    : setup_(setup), output_(setup.commandFolder + u"trial" + extension),
      startMs_(::GetTickCount64()) {
    setup_.passThrough = SilentSource() + setup.passThrough;
    conversion_ = std::make_unique<Conversion>(
        PlannedConversion{{u"-", u"-", {}}, output_, 0, String(), {}}, setup_, kTrialNumber);
    started_ = conversion_->Start(0);
}

String OptionTrial::Verdict() {
    if (started_)
        while (conversion_->Poll(::GetTickCount64() - startMs_))
            ::WaitForSingleObject(conversion_->Process(), 100);
    const FileOutcome outcome = conversion_->Finish(::GetTickCount64() - startMs_);
    DeleteFilePath(output_);
    if (outcome.status == FileStatus::kConverted)
        return String();
    // The user never sees the trial's file: the reason names the trial instead.
    String reason = InUserNames(outcome.reason, BatchTempName(output_), u"the settings trial");
    constexpr StringView kErrorMark = u"Error: ";
    return reason.starts_with(kErrorMark) ? reason.substr(kErrorMark.size()) : reason;
}

} // namespace wm
