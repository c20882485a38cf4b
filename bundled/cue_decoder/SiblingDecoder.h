// The other decoder plug-ins in the cue decoder's own folder, bound through their public entry
// points: the image of a disc is read by whichever of them reads its file.
#pragma once

#include "process/UniqueHandle.h"
#include "text/String.h"

#include <sdk/wavemill_plugin.h>

#include <vector>

namespace wm::bundled {

// A decoder library beside this one and the extensions it reads.
struct SiblingLibrary {
    String path;
    StringList extensions;
};

// The decoder libraries beside this one (itself left out), each asked once what it reads.
std::vector<SiblingLibrary> SiblingCatalog();

// Every extension in the catalog.
StringList CatalogExtensions(const std::vector<SiblingLibrary>& catalog);

class SiblingDecoder {
  public:
    SiblingDecoder() = default;
    SiblingDecoder(const SiblingDecoder&) = delete;
    SiblingDecoder& operator=(const SiblingDecoder&) = delete;
    ~SiblingDecoder() { Release(); }

    // Creates a fresh instance of the library, which stays loaded while the same one is asked
    // for again: loading and freeing a library for every file would cost memory each time.
    bool Load(const String& libraryPath);
    // The extensions it answers to "Decodes".
    StringList Extensions();
    uint32_t Open(DecodeOpenInfo& info) { return open_(instance_, &info); }
    uint32_t DecodeBlock(AudioBlockInfo& block) { return decode_(instance_, &block); }
    // Its reason for the last failure, or empty.
    String LastError();
    // Closes the file and destroys the instance; the library stays.
    void CloseFile();
    // Also frees the library.
    void Release();

  private:
    bool Bind();

    UniqueModule library_;
    String libraryPath_;
    WmDecCreate create_ = nullptr;
    WmDecDestroy destroy_ = nullptr;
    WmDecGet get_ = nullptr;
    WmDecOpen open_ = nullptr;
    WmDecClose close_ = nullptr;
    WmDecDecodeBlock decode_ = nullptr;
    void* instance_ = nullptr;
};

// Opens `info.path` (info zeroed but for path and mode) with the library that claims its
// extension, else with the first that opens it. False with the claiming decoder's reason.
bool OpenWithSibling(SiblingDecoder& decoder, const std::vector<SiblingLibrary>& catalog,
                     DecodeOpenInfo& info, String& reason);

} // namespace wm::bundled
