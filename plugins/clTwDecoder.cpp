#include "plugins/clTwDecoder.h"

namespace wm {

clTwDecoder::~clTwDecoder() {
    DestroyInstance();
}

std::array<XDLL::EntryPoint, 9> clTwDecoder::Table() {
    return {Slot("Create", entry_.create),
            Slot("Destroy", entry_.destroy),
            Slot("Get", entry_.get),
            Slot("Set", entry_.set),
            Slot("Open", entry_.open),
            Slot("Close", entry_.close),
            Slot("DecodeBlock", entry_.decodeBlock),
            Slot("SetPosition", entry_.setPosition),
            Slot("DeleteATag", entry_.deleteATag)};
}

bool clTwDecoder::Load(const String& path) {
    const auto table = Table();
    return LoadAndResolve(path, table);
}

bool clTwDecoder::CreateInstance(void* hostContext) {
    DestroyInstance();
    if (entry_.create)
        instance_ = entry_.create(hostContext);
    return instance_ != nullptr;
}

void clTwDecoder::DestroyInstance() {
    if (instance_ && entry_.destroy)
        entry_.destroy(instance_);
    instance_ = nullptr;
}

bool clTwDecoder::LoadForExtension(StringView extension, const String& path) {
    Unload();
    if (!Load(path))
        return false;
    extensionServed_ = extension;
    libraryPath_ = path;
    return true;
}

void clTwDecoder::Unload() {
    DestroyInstance();
    FreeLibrary();
    entry_ = {};
    extensionServed_.clear();
    libraryPath_.clear();
}

uint32_t clTwDecoder::Get(const char16_t* name, PluginValue* value) {
    return instance_ && entry_.get ? entry_.get(instance_, name, value) : 0;
}

uint32_t clTwDecoder::Set(const char16_t* name, PluginValue* value) {
    return instance_ && entry_.set ? entry_.set(instance_, name, value) : 0;
}

uint32_t clTwDecoder::Open(DecodeOpenInfo* info) {
    return instance_ && entry_.open ? entry_.open(instance_, info) : 0;
}

uint32_t clTwDecoder::Close(ConversionInfo* conversion) {
    return instance_ && entry_.close ? entry_.close(instance_, conversion) : 0;
}

uint32_t clTwDecoder::DecodeBlock(AudioBlockInfo* block) {
    return instance_ && entry_.decodeBlock ? entry_.decodeBlock(instance_, block) : 0;
}

uint32_t clTwDecoder::SetPosition(uint64_t position) {
    return instance_ && entry_.setPosition ? entry_.setPosition(instance_, position) : 0;
}

uint32_t clTwDecoder::DeleteATag(void* argument1, void* argument2) {
    return instance_ && entry_.deleteATag ? entry_.deleteATag(instance_, argument1, argument2) : 0;
}

} // namespace wm
