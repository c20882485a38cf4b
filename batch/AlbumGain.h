// Album gain in the batch: sources grouped into albums the way players group them, each
// track's loudness record taken as its conversion ends, and the album's loudness (gated over all
// its tracks' blocks together) once its last track is done. Portable.
#pragma once

#include "tags/ReplayGain.h"
#include "text/String.h"

#include <cstddef>
#include <map>
#include <optional>
#include <vector>

namespace wm {

// The album of a source: its folder, its album tag and its album artist (the artist when it has
// none), compared case-blind. Empty when the source has no album tag: it belongs to no album.
String AlbumKey(StringView sourcePath, StringView album, StringView albumArtist, StringView artist);

struct AlbumVerdict {
    std::vector<size_t> tracks; // the conversions of the album, in the order they were added
    bool measured = false;      // every track converted with a record: the values below hold
    double lufs = 0;
    double peak = 0;
    String reason; // why not measured
};

class AlbumLedger {
  public:
    // Conversion `track` belongs to the album of `key`; an empty key adds nothing.
    void Add(size_t track, const String& key);
    // The conversion ended: converted with its record, or failed (no record) with a short reason
    // naming it. The album's verdict when this was its last track to end.
    std::optional<AlbumVerdict> TrackEnded(size_t track, std::optional<LoudnessRecord> record,
                                           const String& failure);

  private:
    struct Album {
        std::vector<size_t> tracks;
        size_t ended = 0;
        GatingBlocks blocks;
        double peak = 0;
        String failure; // the first track that failed
    };
    std::map<String, Album> albums_;
    std::map<size_t, String> albumOf_;
};

} // namespace wm
