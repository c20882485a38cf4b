// -albumloudness's measuring pass: each source decoded once through the user's effects into a
// WAV beside the command files and measured there; then each album's one gain goes into its
// conversions as a last Volume effect. An album whose measuring failed keeps its level.
#pragma once

#include "batch/Conversion.h"
#include "batch/ProgressView.h"

#include <map>
#include <vector>

namespace wm {

struct LevelRequest {
    double targetLufs = 0;
    uint32_t jobs = 1;
    String programFolder;
};

// Sets the plan's level effects. False when the user stopped the batch while it measured.
// `notes` gets, by output, why a file's album was left at its level.
bool LevelAlbums(std::vector<PlannedConversion>& plan, const ConversionSetup& setup,
                 const LevelRequest& request, ProgressView& view, std::map<String, String>& notes);

} // namespace wm
