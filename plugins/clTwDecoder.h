// Binding to one decoder library: its nine entry points and the one instance it created.
#pragma once

#include "plugins/PluginBinding.h"
#include "sdk/wavemill_plugin.h"

#include <array>

namespace wm {

// The decoder's entry points, in export order; a missing one stays null.
struct DecoderEntryPoints {
    WmDecCreate create = nullptr;
    WmDecDestroy destroy = nullptr;
    WmDecGet get = nullptr;
    WmDecSet set = nullptr;
    WmDecOpen open = nullptr;
    WmDecClose close = nullptr;
    WmDecDecodeBlock decodeBlock = nullptr;
    WmDecSetPosition setPosition = nullptr;
    WmDecDeleteATag deleteATag = nullptr;

    std::array<XDLL::EntryPoint, 9> Table();
};

// Required name (README, Glossary): "cl" marks the converter's own classes.
class clTwDecoder : public PluginBinding<DecoderEntryPoints> {
  public:
    // Replaces the loaded library with `path`; on success remembers the extension it serves.
    bool LoadForExtension(StringView extension, const String& path);
    // Destroys the instance, frees the library and forgets extension and path.
    void Unload() override;
    // Forgets the served extension (used when no library is loaded any more).
    void ClearExtensionServed() { extensionServed_.clear(); }

    const String& ExtensionServed() const { return extensionServed_; }
    const String& LibraryPath() const { return libraryPath_; }

    uint32_t Open(DecodeOpenInfo* info) { return Call(entry_.open, info); }
    uint32_t Close(ConversionInfo* conversion) { return Call(entry_.close, conversion); }
    uint32_t DecodeBlock(AudioBlockInfo* block) { return Call(entry_.decodeBlock, block); }
    uint32_t SetPosition(uint64_t position) { return Call(entry_.setPosition, position); }
    uint32_t DeleteATag(void* argument1, void* argument2) {
        return Call(entry_.deleteATag, argument1, argument2);
    }

  private:
    String extensionServed_;
    String libraryPath_;
};

} // namespace wm
