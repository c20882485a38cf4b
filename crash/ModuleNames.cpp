#include "crash/ModuleNames.h"

#include "files/PathText.h"
#include "process/WinString.h"

#include <windows.h>

namespace wm {

namespace {

HMODULE ModuleAt(const void* address) {
    HMODULE module = nullptr;
    const DWORD flags =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!address || !::GetModuleHandleExW(flags, static_cast<LPCWSTR>(address), &module))
        return nullptr;
    return module;
}

const IMAGE_EXPORT_DIRECTORY* ExportDirectory(const BYTE* base) {
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    if (dos->e_magic != IMAGE_DOS_SIGNATURE)
        return nullptr;
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    if (nt->Signature != IMAGE_NT_SIGNATURE ||
        nt->OptionalHeader.NumberOfRvaAndSizes <= IMAGE_DIRECTORY_ENTRY_EXPORT)
        return nullptr;
    const IMAGE_DATA_DIRECTORY& entry =
        nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    if (entry.VirtualAddress == 0 || entry.Size == 0)
        return nullptr;
    return reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + entry.VirtualAddress);
}

} // namespace

String ModuleFileNameAt(const void* address) {
    HMODULE module = ModuleAt(address);
    if (!module)
        return {};
    wchar_t path[MAX_PATH] = {};
    const DWORD length = ::GetModuleFileNameW(module, path, MAX_PATH);
    return FileNamePart(FromW(path, length));
}

String ExportNameAt(const void* address) {
    const auto* base = reinterpret_cast<const BYTE*>(ModuleAt(address));
    const IMAGE_EXPORT_DIRECTORY* exports = base ? ExportDirectory(base) : nullptr;
    if (!exports)
        return {};
    const auto* functions = reinterpret_cast<const DWORD*>(base + exports->AddressOfFunctions);
    const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    const auto* ordinals = reinterpret_cast<const WORD*>(base + exports->AddressOfNameOrdinals);
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
        if (ordinals[i] < exports->NumberOfFunctions && base + functions[ordinals[i]] == address)
            return Widen(reinterpret_cast<const char*>(base + names[i]));
    }
    return {};
}

} // namespace wm
