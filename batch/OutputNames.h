// Where each output goes: the input tree mirrored under the output folder, or a naming pattern
// filled from the source's tags; the batch's temporary name.
// Portable.
#pragma once

#include "text/String.h"

#include <functional>
#include <vector>

namespace wm {

// A source to convert: its full path and its path below the input it was found under (its file
// name for an input given as a file).
struct SourceFile {
    String path;
    String relative;
    String track; // one track of a disc image (-track), empty for a whole file
};

// The start of the relative paths found in a selected folder: its own name and "\" (so that
// "Album A" and "Album B" stay apart under the output folder, as a copy keeps them), or nothing
// for the output folder itself and for a drive's root. Both paths full, "\" at the end.
String SelectedFolderPrefix(StringView folder, StringView outFolder);

// out\relative with the extension replaced by the encoder's.
String MirroredOutput(StringView outFolder, StringView relative, StringView extension);

// A tag's value by name ("artist", "album artist"...); empty when the source has none.
using TagLookup = std::function<String(StringView name)>;

// The pattern's %name% fields filled from the tags; "\" and "/" in the pattern make folders. A
// missing tag gets a fallback: the source's file name for %title%, "00" for %track%, "Unknown
// Artist" and the like otherwise. %track% and %disc% lose a "/total" part, %track% is two
// digits; %filename% is the source's name without extension. A field is named case-blind and
// without regard to spaces, "_" and "-", and %albumartist%, %tracknumber%, %discnumber% and
// %date% are the same as %album artist%, %track%, %disc% and %year%; the album artist falls back
// to the artist.
String PatternOutput(StringView outFolder, StringView pattern, const TagLookup& tags,
                     StringView sourcePath, StringView extension);

// One file or folder name that Windows accepts: the characters it forbids (< > : " / \ | ? *
// and controls) become "_", trailing dots and spaces go, a device name (CON, NUL, COM1...)
// gets "_" in front, and an empty name becomes "_".
String SafeNamePart(StringView text);

// The name a conversion writes to until it succeeded: beside the output, keeping its extension
// (the converter picks the tag writer by it). "a\song.mp3" -> "a\song.wmbatch-part.mp3".
String BatchTempName(StringView output);
bool IsBatchTempName(StringView path);

// The source's disc number ("2" from "2/3"), or empty when it has none.
String DiscOf(const TagLookup& tags);

} // namespace wm
