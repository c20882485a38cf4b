#include "bundled/win/FfmpegDelegate.h"

#include <windows.h>

#include <string>

namespace wm::bundled {

namespace {

// The FFmpeg decoder lies in this plug-in's own folder.
std::wstring SiblingPath(const wchar_t* name) {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&SiblingPath), &self);
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(self, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.find_last_of(L'\\') + 1) + name;
}

template <class F> F Entry(HMODULE library, const char* name) {
    return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

} // namespace

bool FfmpegDelegate::Load() {
    if (library_)
        return true;
    // Its FFmpeg DLLs lie beside the program, where the host's own search finds them.
    library_.reset(LoadLibraryW(SiblingPath(L"FFmpegDecoder.dll").c_str()));
    if (!library_)
        return false;
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

bool FfmpegDelegate::Open(DecodeOpenInfo& info) {
    Close();
    if (!Load() || !(instance_ = create_(nullptr)))
        return Close(), false;
    DecodeOpenInfo asked{};
    asked.path = info.path;
    asked.openMode = info.openMode;
    if (!open_(instance_, &asked))
        return Close(), false;
    info.format = asked.format;
    info.bitRate = asked.bitRate;
    info.msLength = asked.msLength;
    info.byteLength = asked.byteLength;
    info.tagData = asked.tagData;
    info.tagSize = asked.tagSize;
    return true;
}

uint32_t FfmpegDelegate::DecodeBlock(AudioBlockInfo* block) {
    return instance_ ? decode_(instance_, block) : 0;
}

uint32_t FfmpegDelegate::SetPosition(uint64_t ms) {
    return instance_ ? seek_(instance_, ms) : 0;
}

const char16_t* FfmpegDelegate::LastError() {
    PluginValue value{};
    if (!instance_ || !get_(instance_, WM_VALUE_LAST_ERROR, &value))
        return nullptr;
    return static_cast<const char16_t*>(value.pointer1);
}

void FfmpegDelegate::Close() {
    if (instance_) {
        close_(instance_, nullptr);
        destroy_(instance_);
    }
    instance_ = nullptr;
    library_.reset();
}

} // namespace wm::bundled
