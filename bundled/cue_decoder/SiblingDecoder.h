// The other decoder plug-ins in the cue decoder's own folder, bound through their public entry
// points: the image of a disc is read by whichever of them reads its file.
#pragma once

#include "process/UniqueHandle.h"
#include "text/String.h"

#include <sdk/wavemill_plugin.h>

namespace wm::bundled {

class SiblingDecoder {
  public:
    SiblingDecoder() = default;
    SiblingDecoder(const SiblingDecoder&) = delete;
    SiblingDecoder& operator=(const SiblingDecoder&) = delete;
    ~SiblingDecoder() { Release(); }

    // Loads the library and creates its instance.
    bool Load(const String& libraryPath);
    // The extensions it answers to "Decodes".
    StringList Extensions();
    uint32_t Open(DecodeOpenInfo& info) { return open_(instance_, &info); }
    uint32_t DecodeBlock(AudioBlockInfo& block) { return decode_(instance_, &block); }
    // Its reason for the last failure, or empty.
    String LastError();
    // Closes the file, destroys the instance and frees the library.
    void Release();

  private:
    UniqueModule library_;
    WmDecCreate create_ = nullptr;
    WmDecDestroy destroy_ = nullptr;
    WmDecGet get_ = nullptr;
    WmDecOpen open_ = nullptr;
    WmDecClose close_ = nullptr;
    WmDecDecodeBlock decode_ = nullptr;
    void* instance_ = nullptr;
};

// The decoder libraries beside this one, itself left out.
StringList SiblingLibraries();

// Every extension the sibling decoders read.
StringList SiblingExtensions();

// Opens `info.path` (info zeroed but for path and mode) with the sibling that claims its
// extension, else with the first that opens it. False with the claiming decoder's reason.
bool OpenWithSibling(SiblingDecoder& decoder, DecodeOpenInfo& info, String& reason);

} // namespace wm::bundled
