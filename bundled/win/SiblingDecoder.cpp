#include "bundled/win/SiblingDecoder.h"

#include <windows.h>

namespace wm::bundled {

namespace {

constexpr uint32_t kMaxDecodesEntries = 1000;

template <class F> F Entry(HMODULE library, const char* name) {
    return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

} // namespace

String ThisLibraryPath() {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&ThisLibraryPath), &self);
    String path(32768, u'\0');
    path.resize(GetModuleFileNameW(self, reinterpret_cast<wchar_t*>(path.data()),
                                   static_cast<DWORD>(path.size())));
    return path;
}

String SiblingLibraryPath(StringView name) {
    const String self = ThisLibraryPath();
    return self.substr(0, self.find_last_of(u'\\') + 1) + String(name);
}

bool SiblingDecoder::Load(const String& libraryPath) {
    CloseFile();
    if (!library_ || libraryPath != libraryPath_) {
        Release();
        library_.reset(LoadLibraryW(reinterpret_cast<const wchar_t*>(libraryPath.c_str())));
        if (!library_ || !Bind())
            return Release(), false;
        libraryPath_ = libraryPath;
    }
    instance_ = create_(nullptr);
    return instance_ != nullptr;
}

bool SiblingDecoder::Bind() {
    const HMODULE m = library_.get();
    create_ = Entry<WmDecCreate>(m, "Create");
    destroy_ = Entry<WmDecDestroy>(m, "Destroy");
    get_ = Entry<WmDecGet>(m, "Get");
    open_ = Entry<WmDecOpen>(m, "Open");
    close_ = Entry<WmDecClose>(m, "Close");
    decode_ = Entry<WmDecDecodeBlock>(m, "DecodeBlock");
    seek_ = Entry<WmDecSetPosition>(m, "SetPosition");
    return create_ && destroy_ && get_ && open_ && close_ && decode_ && seek_;
}

StringList SiblingDecoder::Extensions() {
    StringList extensions;
    for (uint32_t index = 0; index < kMaxDecodesEntries; ++index) {
        PluginValue value{};
        value.value1 = index;
        if (!get_(instance_, WM_VALUE_DECODES, &value) || !value.pointer1)
            break;
        extensions.push_back(static_cast<const char16_t*>(value.pointer1));
    }
    return extensions;
}

String SiblingDecoder::LastError() {
    PluginValue value{};
    if (!instance_ || !get_(instance_, WM_VALUE_LAST_ERROR, &value) || !value.pointer1)
        return {};
    return static_cast<const char16_t*>(value.pointer1);
}

void SiblingDecoder::CloseFile() {
    if (instance_) {
        close_(instance_, nullptr);
        destroy_(instance_);
    }
    instance_ = nullptr;
}

void SiblingDecoder::Release() {
    CloseFile();
    library_.reset();
    libraryPath_.clear();
}

} // namespace wm::bundled
