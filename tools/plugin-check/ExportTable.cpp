#include "tools/plugin-check/ExportTable.h"

#include "plugins/clTwDSP.h"
#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"

#include <algorithm>
#include <cctype>

namespace wm::check {

namespace {

// The host's own binding tables are the list of names, so the two cannot disagree.
template <class EntryPoints> std::vector<const char*> NamesOf() {
    EntryPoints entries;
    std::vector<const char*> names;
    for (const XDLL::EntryPoint& e : entries.Table())
        names.push_back(e.name);
    return names;
}

const uint8_t* ImageBase(HMODULE module) {
    // A module mapped as an image resource has its low bits set.
    return reinterpret_cast<const uint8_t*>(reinterpret_cast<uintptr_t>(module) & ~uintptr_t{3});
}

const IMAGE_DATA_DIRECTORY& Directory(HMODULE module, int which) {
    const uint8_t* base = ImageBase(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    return nt->OptionalHeader.DataDirectory[which];
}

// "_Open", "Open@16" and "_Open@16" are what a decorating tool chain makes of "Open".
std::string Undecorated(std::string name) {
    if (!name.empty() && name[0] == '_')
        name.erase(0, 1);
    const size_t at = name.rfind('@');
    if (at != std::string::npos && at + 1 < name.size() &&
        std::all_of(name.begin() + static_cast<std::ptrdiff_t>(at) + 1, name.end(),
                    [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }))
        name.erase(at);
    return name;
}

std::string Lower(std::string s) {
    for (char& c : s)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

} // namespace

const std::vector<KindNames>& AllKinds() {
    static const std::vector<KindNames> kinds = {
        {PluginKind::Decoder, "decoder", NamesOf<DecoderEntryPoints>()},
        {PluginKind::Encoder, "encoder", NamesOf<EncoderEntryPoints>()},
        {PluginKind::Effect, "DSP effect", NamesOf<DspEntryPoints>()}};
    return kinds;
}

std::vector<std::string> ExportNames(HMODULE module) {
    std::vector<std::string> names;
    const IMAGE_DATA_DIRECTORY& dir = Directory(module, IMAGE_DIRECTORY_ENTRY_EXPORT);
    if (!dir.VirtualAddress)
        return names;
    const uint8_t* base = ImageBase(module);
    const auto* exports =
        reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + dir.VirtualAddress);
    const auto* nameRvas = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    for (DWORD i = 0; i < exports->NumberOfNames; ++i)
        names.emplace_back(reinterpret_cast<const char*>(base + nameRvas[i]));
    return names;
}

std::vector<std::string> ImportNames(HMODULE module) {
    std::vector<std::string> names;
    const IMAGE_DATA_DIRECTORY& dir = Directory(module, IMAGE_DIRECTORY_ENTRY_IMPORT);
    if (!dir.VirtualAddress)
        return names;
    const uint8_t* base = ImageBase(module);
    for (const auto* d =
             reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + dir.VirtualAddress);
         d->Name; ++d)
        names.emplace_back(reinterpret_cast<const char*>(base + d->Name));
    return names;
}

const KindNames* DetectKind(const std::vector<std::string>& exports) {
    const KindNames* best = nullptr;
    size_t bestCount = 0;
    for (const KindNames& kind : AllKinds()) {
        size_t count = 0;
        for (const char* wanted : kind.exports)
            for (const std::string& name : exports)
                count += Undecorated(name) == wanted ? 1 : 0;
        if (count > bestCount) {
            best = &kind;
            bestCount = count;
        }
    }
    return best;
}

bool CheckExports(const KindNames& kind, const std::vector<std::string>& exports, Report& report) {
    bool complete = true;
    for (const char* wanted : kind.exports) {
        if (std::find(exports.begin(), exports.end(), wanted) != exports.end())
            continue;
        complete = false;
        auto decorated = std::find_if(exports.begin(), exports.end(), [&](const std::string& n) {
            return Undecorated(n) == wanted;
        });
        if (decorated != exports.end())
            report.Violation(Rule::ExportDecorated,
                             "exports '" + *decorated +
                                 "' but the host looks for the plain name '" + wanted +
                                 "': declare it with WM_PLUGIN_EXPORT or list it in a "
                                 ".def file",
                             wanted);
        else
            report.Violation(Rule::ExportMissing,
                             std::string("does not export '") + wanted + "': the host refuses a " +
                                 kind.label +
                                 " that lacks any entry point (export it and "
                                 "return 0)",
                             wanted);
    }
    return complete;
}

void CheckImports(const std::vector<std::string>& imports, Report& report) {
    static const char* const kRuntimes[] = {"libstdc++-6.dll", "libgcc_s_seh-1.dll",
                                            "libwinpthread-1.dll", "libgomp-1.dll"};
    for (const std::string& name : imports)
        for (const char* runtime : kRuntimes)
            if (Lower(name) == runtime)
                report.Violation(Rule::RuntimeImport,
                                 "imports " + name +
                                     ", a compiler runtime that Windows does not provide: link "
                                     "with -static",
                                 name);
}

} // namespace wm::check
