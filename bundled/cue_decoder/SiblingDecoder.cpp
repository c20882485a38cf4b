#include "bundled/cue_decoder/SiblingDecoder.h"

#include <windows.h>

namespace wm::bundled {

namespace {

String ThisLibrary() {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&ThisLibrary), &self);
    String path(32768, u'\0');
    path.resize(GetModuleFileNameW(self, reinterpret_cast<wchar_t*>(path.data()),
                                   static_cast<DWORD>(path.size())));
    return path;
}

template <class F> F Entry(HMODULE library, const char* name) {
    return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

String ExtensionOfPath(StringView path) {
    const size_t dot = path.find_last_of(u'.');
    const size_t slash = path.find_last_of(u"\\/");
    if (dot == StringView::npos || (slash != StringView::npos && dot < slash))
        return {};
    return String(path.substr(dot));
}

bool TryOpen(SiblingDecoder& decoder, const String& library, DecodeOpenInfo& info) {
    const DecodeOpenInfo asked = info;
    if (decoder.Load(library) && decoder.Open(info))
        return true;
    info = asked;
    return false;
}

bool Claims(const SiblingLibrary& library, StringView extension) {
    for (const String& claimed : library.extensions)
        if (EqualsNoCase(claimed, extension))
            return true;
    return false;
}

StringList LibraryFiles() {
    const String self = ThisLibrary();
    const String folder = self.substr(0, self.find_last_of(u'\\') + 1);
    StringList libraries;
    WIN32_FIND_DATAW found{};
    const String pattern = folder + u"*.dll";
    HANDLE search = FindFirstFileW(reinterpret_cast<const wchar_t*>(pattern.c_str()), &found);
    if (search == INVALID_HANDLE_VALUE)
        return libraries;
    do {
        const String path = folder + reinterpret_cast<const char16_t*>(found.cFileName);
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && !EqualsNoCase(path, self))
            libraries.push_back(path);
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return libraries;
}

} // namespace

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
    return create_ && destroy_ && get_ && open_ && close_ && decode_;
}

StringList SiblingDecoder::Extensions() {
    StringList extensions;
    for (uint32_t index = 0;; ++index) {
        PluginValue value{};
        value.value1 = index;
        if (!get_(instance_, WM_VALUE_DECODES, &value) || !value.pointer1)
            return extensions;
        extensions.push_back(static_cast<const char16_t*>(value.pointer1));
    }
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

std::vector<SiblingLibrary> SiblingCatalog() {
    std::vector<SiblingLibrary> catalog;
    SiblingDecoder decoder;
    for (const String& library : LibraryFiles())
        if (decoder.Load(library))
            catalog.push_back({library, decoder.Extensions()});
    return catalog;
}

StringList CatalogExtensions(const std::vector<SiblingLibrary>& catalog) {
    StringList all;
    for (const SiblingLibrary& library : catalog)
        all.insert(all.end(), library.extensions.begin(), library.extensions.end());
    return all;
}

bool OpenWithSibling(SiblingDecoder& decoder, const std::vector<SiblingLibrary>& catalog,
                     DecodeOpenInfo& info, String& reason) {
    const String extension = ExtensionOfPath(info.path);
    reason = u"no installed decoder reads '" + extension + u"' files";
    for (const SiblingLibrary& library : catalog) {
        if (!Claims(library, extension))
            continue;
        if (TryOpen(decoder, library.path, info))
            return true;
        reason = decoder.LastError();
        break;
    }
    for (const SiblingLibrary& library : catalog)
        if (TryOpen(decoder, library.path, info))
            return true;
    decoder.CloseFile();
    return false;
}

} // namespace wm::bundled
