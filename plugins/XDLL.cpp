#include "plugins/XDLL.h"

#include <cstring>

namespace wm {

XDLL::~XDLL() {
    FreeLibrary();
}

bool XDLL::Load(const String& path) {
    return LoadAndResolve(path, {});
}

bool XDLL::LoadAndResolve(const String& path, std::span<const EntryPoint> table) {
    if (module_)
        return loadedOk_;
    loadedOk_ = true;
    if (path.empty()) {
        loadedOk_ = false;
    } else {
        // A plug-in's imports resolve in its own folder, then beside the program (where the
        // shared third-party libraries live), then in the system folders.
        module_.reset(
            ::LoadLibraryExW(reinterpret_cast<const wchar_t*>(path.c_str()), nullptr,
                             LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS));
        if (!module_)
            loadedOk_ = false;
    }
    for (const EntryPoint& entry : table) {
        FARPROC proc = module_ ? ::GetProcAddress(module_.get(), entry.name) : nullptr;
        if (!proc)
            loadedOk_ = false;
        std::memcpy(entry.slot, &proc, sizeof proc);
    }
    return loadedOk_;
}

void XDLL::FreeLibrary() {
    module_.reset();
    loadedOk_ = false;
}

} // namespace wm
