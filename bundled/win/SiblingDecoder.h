// Another decoder plug-in in this plug-in's own folder, bound through its public entry points:
// a plug-in hands it the files it does not read itself (a compressed WAV, FLAC in Ogg, a disc
// image) without importing anything of it.
#pragma once

#include "process/UniqueHandle.h"
#include "text/String.h"

#include <sdk/wavemill_plugin.h>

namespace wm::bundled {

// The full path of `name` in the folder of the plug-in this code is linked into.
String SiblingLibraryPath(StringView name);
// The full path of that plug-in itself.
String ThisLibraryPath();

class SiblingDecoder {
  public:
    SiblingDecoder() = default;
    SiblingDecoder(const SiblingDecoder&) = delete;
    SiblingDecoder& operator=(const SiblingDecoder&) = delete;
    ~SiblingDecoder() { Release(); }

    // Creates a fresh instance of the library, which stays loaded while the same one is asked
    // for again: loading and freeing a library for every file would cost memory each time.
    bool Load(const String& libraryPath);
    // The extensions it answers to "Decodes"; a list without end is cut at 1,000.
    StringList Extensions();
    uint32_t Open(DecodeOpenInfo& info) { return open_(instance_, &info); }
    uint32_t DecodeBlock(AudioBlockInfo& block) { return decode_(instance_, &block); }
    uint32_t SetPosition(uint64_t ms) { return seek_(instance_, ms); }
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
    WmDecSetPosition seek_ = nullptr;
    void* instance_ = nullptr;
};

} // namespace wm::bundled
