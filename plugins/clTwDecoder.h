// Binding to one decoder library: its nine entry points and the one instance it created.
#pragma once

#include "plugins/XDLL.h"
#include "sdk/wavemill_plugin.h"

#include <array>

namespace wm {

class clTwDecoder : public XDLL {
  public:
    // The decoder's entry points, in export order; a missing one stays null.
    struct EntryPoints {
        WmDecCreate create = nullptr;
        WmDecDestroy destroy = nullptr;
        WmDecGet get = nullptr;
        WmDecSet set = nullptr;
        WmDecOpen open = nullptr;
        WmDecClose close = nullptr;
        WmDecDecodeBlock decodeBlock = nullptr;
        WmDecSetPosition setPosition = nullptr;
        WmDecDeleteATag deleteATag = nullptr;
    };

    clTwDecoder() = default;
    ~clTwDecoder() override;

    bool Load(const String& path) override;

    // Destroys any current instance, then calls "Create"; true when an instance came back.
    bool CreateInstance(void* hostContext);
    // Calls "Destroy" when there is an instance; the instance is forgotten in any case.
    void DestroyInstance();
    // Replaces the loaded library with `path`; on success remembers the extension it serves.
    bool LoadForExtension(StringView extension, const String& path);
    // Destroys the instance, frees the library and forgets extension and path.
    void Unload();
    // Forgets the served extension (used when no library is loaded any more).
    void ClearExtensionServed() { extensionServed_.clear(); }

    const String& ExtensionServed() const { return extensionServed_; }
    const String& LibraryPath() const { return libraryPath_; }
    bool HasInstance() const { return instance_ != nullptr; }
    const EntryPoints& Entries() const { return entry_; }

    // Thin calls: 0 without calling anything when there is no instance or no entry point.
    uint32_t Get(const char16_t* name, PluginValue* value);
    uint32_t Set(const char16_t* name, PluginValue* value);
    uint32_t Open(DecodeOpenInfo* info);
    uint32_t Close(ConversionInfo* conversion);
    uint32_t DecodeBlock(AudioBlockInfo* block);
    uint32_t SetPosition(uint64_t position);
    uint32_t DeleteATag(void* argument1, void* argument2);

  private:
    std::array<EntryPoint, 9> Table();

    String extensionServed_;
    String libraryPath_;
    void* instance_ = nullptr;
    EntryPoints entry_;
};

} // namespace wm
