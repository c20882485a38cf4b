#include "plugins/clTwDecoder.h"

namespace wm {

std::array<XDLL::EntryPoint, 9> DecoderEntryPoints::Table() {
    return {XDLL::Slot("Create", create),
            XDLL::Slot("Destroy", destroy),
            XDLL::Slot("Get", get),
            XDLL::Slot("Set", set),
            XDLL::Slot("Open", open),
            XDLL::Slot("Close", close),
            XDLL::Slot("DecodeBlock", decodeBlock),
            XDLL::Slot("SetPosition", setPosition),
            XDLL::Slot("DeleteATag", deleteATag)};
}

bool clTwDecoder::LoadForExtension(StringView extension, const String& path) {
    if (!Reload(path))
        return false;
    extensionServed_ = extension;
    libraryPath_ = path;
    return true;
}

void clTwDecoder::Unload() {
    PluginBinding::Unload();
    extensionServed_.clear();
    libraryPath_.clear();
}

} // namespace wm
