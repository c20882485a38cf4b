// The names a plug-in DLL exports and the DLLs it imports, read from its image, and which kind
// of plug-in its exports make it.
#pragma once

#include "tools/plugin-check/Report.h"

#include <windows.h>

#include <string>
#include <vector>

namespace wm::check {

enum class PluginKind { None, Decoder, Encoder, Effect };

struct KindNames {
    PluginKind kind;
    const char* label; // "decoder"
    std::vector<const char*> exports;
};
const std::vector<KindNames>& AllKinds();

std::vector<std::string> ExportNames(HMODULE module);
std::vector<std::string> ImportNames(HMODULE module);

// The kind whose entry points the exports match best (plain or decorated); None when none.
const KindNames* DetectKind(const std::vector<std::string>& exports);

// Reports missing and decorated entry points; true when the host would bind every one.
bool CheckExports(const KindNames& kind, const std::vector<std::string>& exports, Report& report);
// Reports imports of compiler runtime DLLs that Windows does not provide.
void CheckImports(const std::vector<std::string>& imports, Report& report);

} // namespace wm::check
