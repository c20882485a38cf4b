// The batch's album gain at work: the planned conversions grouped into albums by their sources'
// tags, each track's loudness record read as its conversion ends, and the album's gain and peak
// written into every output of an album once its last track is done. Nothing is decoded again.
#pragma once

#include "batch/AlbumGain.h"
#include "batch/BatchReport.h"
#include "batch/Conversion.h"
#include "batch/SourceScan.h"

#include <map>
#include <optional>
#include <vector>

namespace wm {

// The album of a source file by its tags (AlbumKey); empty when it has no album tag.
String SourceAlbumKey(const SourceFile& source, SourceFactsReader& reader);

// A converter's loudness record; nothing when it is missing or not whole.
std::optional<LoudnessRecord> ReadLoudnessRecordFile(const String& path);

class AlbumGainRun {
  public:
    AlbumGainRun(const std::vector<PlannedConversion>& plan, const ConversionSetup& setup,
                 const String& programFolder);

    void ConversionEnded(uint32_t number, const FileOutcome& outcome);

    // Why converted outputs have no album gain, by output; the report carries it as the reason.
    const std::map<String, String>& Missing() const { return missing_; }

  private:
    void Finish(const AlbumVerdict& album);

    const std::vector<PlannedConversion>& plan_;
    const ConversionSetup& setup_;
    const String programFolder_;
    AlbumLedger ledger_;
    std::map<size_t, bool> converted_;
    std::map<String, String> missing_;
};

} // namespace wm
