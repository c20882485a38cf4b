#include "batch/AlbumLevelPass.h"

#include "batch/AlbumGain.h"
#include "batch/AlbumGainRun.h"
#include "batch/AlbumLoudness.h"
#include "batch/BatchArguments.h"
#include "batch/BatchRun.h"
#include "files/FileOps.h"
#include "files/PathText.h"
#include "protocol/ConverterOptions.h"
#include "text/NumberText.h"

namespace wm {

namespace {

// The measuring pass's conversions: the same sources, into WAVs in the command folder.
std::vector<PlannedConversion> MeasuringPlan(const std::vector<PlannedConversion>& plan,
                                             const ConversionSetup& setup) {
    std::vector<PlannedConversion> measuring = plan;
    for (size_t i = 0; i < measuring.size(); ++i) {
        measuring[i].output =
            setup.commandFolder + u"measure" + IntToText(static_cast<int64_t>(i + 1)) + u".wav";
        measuring[i].extraOptions.clear();
    }
    return measuring;
}

} // namespace

bool LevelAlbums(std::vector<PlannedConversion>& plan, const ConversionSetup& setup,
                 const LevelRequest& request, ProgressView& view, std::map<String, String>& notes) {
    const EffectOptions effects = EffectsOf(setup.passThrough);
    ConversionSetup measuring = setup;
    measuring.codec = u"Wave";
    measuring.passThrough =
        effects.text + OptionText(option::kReplayGain, u"") + OptionText(option::kTruePeak, u"");
    measuring.loudnessRecords = true;
    const std::vector<PlannedConversion> measuringPlan = MeasuringPlan(plan, setup);

    AlbumLedger ledger;
    SourceFactsReader reader(request.programFolder);
    for (size_t i = 0; i < plan.size(); ++i) {
        // A track without an album tag is leveled on its own.
        const String key = SourceAlbumKey(plan[i].source, reader);
        ledger.Add(i, key.empty() ? u"\n" + plan[i].source.path : key);
    }
    const String target = FloatToText(request.targetLufs, 1) + u" LUFS";
    view.Line(u"Measuring the albums' loudness (one decode of each source)...");
    const auto ended = [&](uint32_t number, FileOutcome& outcome) {
        std::optional<LoudnessRecord> record;
        if (outcome.status == FileStatus::kConverted)
            record = ReadLoudnessRecordFile(LoudnessRecordPath(measuring, number));
        DeleteFilePath(measuringPlan[number - 1].output);
        const auto album = ledger.TrackEnded(
            number - 1, record, FileNamePart(outcome.input) + u" could not be measured");
        if (!album)
            return;
        const double gain = AlbumLevelGain(album->lufs, album->peak, request.targetLufs);
        for (size_t track : album->tracks) {
            if (album->measured)
                // Numbered after the user's effects and those that adapt the track.
                plan[track].extraOptions += LevelEffectOption(
                    EffectsOf(setup.passThrough + plan[track].options).count, gain);
            else
                notes[plan[track].output] = u"not brought to " + target + u": " + album->reason;
        }
    };
    const BatchResult result = RunBatch(measuringPlan, measuring, request.jobs, view, ended);
    return !result.stopped;
}

} // namespace wm
