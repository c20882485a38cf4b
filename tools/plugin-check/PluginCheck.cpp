// plugin-check.exe <plug-in DLL> [sample file ...] [-settings=<effect settings>]
//                  [-options=<encoder command line>] [--only=<rule>] [--call-limit=<seconds>]
// plugin-check.exe --list
// Loads one decoder, encoder or DSP effect the way Wavemill does, without converting anything,
// drives its entry points in the documented order and prints every violation in plain words,
// each with its rule's id. Exit status: 0 no violation, 1 violations, 2 wrong arguments.
#include "converter/CommandLineText.h"
#include "text/NumberText.h"
#include "tools/plugin-check/Checks.h"
#include "tools/plugin-check/ExportTable.h"

#include <windows.h>

#include <cstdio>

using namespace wm;
using namespace wm::check;

namespace {

constexpr const char* kUsage =
    "usage: plugin-check.exe <plug-in DLL> [sample file ...] [-settings=<effect settings>] "
    "[-options=<encoder command line>] [--only=<rule>] [--call-limit=<seconds>]\n"
    "       plugin-check.exe --list\n"
    "  A decoder is driven on each sample file (files of its own format; give one beyond 16-bit\n"
    "  stereo too) and on copies it derives from the first; an encoder and an effect on\n"
    "  generated audio of 8 to 32-bit integer and float samples, 1 to 8 channels and 8 to\n"
    "  192 kHz. -options= reaches an encoder as the host hands options on (-b=\"320\").\n"
    "  --list prints the rules; --only=<rule> reports that rule alone; a plug-in call that has\n"
    "  not returned after --call-limit seconds (default 30) fails the check.\n";

struct Arguments {
    CheckJob job;
    bool list = false;
    const RuleInfo* only = nullptr;
    uint32_t callLimitSeconds = kDefaultCallLimitSeconds;
};

// Encoder options as the host hands them on: ` -name="value"`, whatever way they were typed.
String AsTheHostPassesThem(const String& typed) {
    OptionStore store;
    store.Fill(typed);
    return StripWavemillCmds(store, 0);
}

// False, with the reason printed, for an option of the validator's own it cannot take.
bool ParseOwnOption(const String& arg, Arguments& args) {
    if (EqualsNoCase(arg, u"--list")) {
        args.list = true;
    } else if (StartsWithNoCase(arg, u"--only=")) {
        args.only = FindRule(Narrow(arg.substr(7)));
        if (!args.only) {
            std::fprintf(stderr, "plugin-check: no rule %s (--list shows them)\n",
                         Narrow(arg.substr(7)).c_str());
            return false;
        }
    } else if (StartsWithNoCase(arg, u"--call-limit=")) {
        const int64_t seconds = TextToInt(arg.substr(13));
        args.callLimitSeconds = static_cast<uint32_t>(seconds);
        if (seconds < 1 || seconds > 24 * 3600) {
            std::fprintf(stderr, "plugin-check: --call-limit needs a number of seconds\n");
            return false;
        }
    } else {
        std::fprintf(stderr, "plugin-check: unknown argument %s\n", Narrow(arg).c_str());
        return false;
    }
    return true;
}

// False, with the reason printed, for arguments the validator does not take.
bool ParseArguments(int argc, wchar_t** argv, Arguments& args) {
    CheckJob& job = args.job;
    for (int i = 1; i < argc; ++i) {
        const String arg = reinterpret_cast<const char16_t*>(argv[i]);
        if (StartsWithNoCase(arg, u"-settings="))
            job.settings = arg.substr(10);
        else if (StartsWithNoCase(arg, u"-options="))
            job.options = AsTheHostPassesThem(arg.substr(9));
        else if (!arg.empty() && (arg[0] == u'-' || arg[0] == u'/')) {
            if (!ParseOwnOption(arg, args))
                return false;
        } else if (job.library.empty())
            job.library = arg;
        else
            job.samples.push_back(arg);
    }
    return args.list || !job.library.empty();
}

// The host loads plug-ins by full path; a relative one is made full against the current folder.
String FullPath(const String& path) {
    wchar_t full[MAX_PATH * 4];
    const DWORD n = ::GetFullPathNameW(reinterpret_cast<const wchar_t*>(path.c_str()), MAX_PATH * 4,
                                       full, nullptr);
    return n && n < MAX_PATH * 4 ? String(reinterpret_cast<const char16_t*>(full)) : path;
}

void ReportLoadFailure(const String& library, DWORD error, Report& report) {
    std::string why = "it cannot be loaded (win:" + std::to_string(error) + ")";
    if (error == ERROR_MOD_NOT_FOUND)
        why += ": the file, or a DLL it imports, is missing";
    else if (error == ERROR_BAD_EXE_FORMAT)
        why += ": it is not a 64-bit Windows DLL";
    report.Violation(Rule::Load, why);
    HMODULE image = ::LoadLibraryExW(reinterpret_cast<const wchar_t*>(library.c_str()), nullptr,
                                     LOAD_LIBRARY_AS_IMAGE_RESOURCE | LOAD_LIBRARY_AS_DATAFILE);
    if (!image)
        return;
    std::string imports;
    for (const std::string& name : ImportNames(image))
        imports += (imports.empty() ? "" : ", ") + name;
    report.Note("it imports " + imports);
    CheckImports(ImportNames(image), report);
    ::FreeLibrary(image);
}

// Loads the library to read its tables, then runs the check of its kind.
void Check(CheckJob& job, Report& report) {
    job.library = FullPath(job.library);
    // As the host loads it: imports resolve in the plug-in's folder, then beside the program.
    HMODULE module =
        ::LoadLibraryExW(reinterpret_cast<const wchar_t*>(job.library.c_str()), nullptr,
                         LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    if (!module) {
        ReportLoadFailure(job.library, ::GetLastError(), report);
        return;
    }
    const std::vector<std::string> exports = ExportNames(module);
    CheckImports(ImportNames(module), report);
    const KindNames* kind = DetectKind(exports);
    if (!kind) {
        report.Violation(Rule::Kind,
                         "exports none of the entry points of a decoder, an encoder or a "
                         "DSP effect");
    } else {
        report.Note(std::string("kind: ") + kind->label + ", by its exports");
        if (!CheckExports(*kind, exports, report))
            report.Note("the host would not load it; nothing more was checked");
        else if (kind->kind == PluginKind::Decoder)
            CheckDecoder(job, report);
        else if (kind->kind == PluginKind::Encoder)
            CheckEncoder(job, report);
        else
            CheckEffect(job, report);
    }
    ::FreeLibrary(module);
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    Arguments args;
    if (!ParseArguments(argc, argv, args)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    ::SetConsoleOutputCP(CP_UTF8); // the report is UTF-8 text
    if (args.list) {
        PrintRuleTable();
        return 0;
    }
    Report report;
    report.LimitTo(args.only);
    WatchCalls(report, args.callLimitSeconds);
    std::printf("plugin-check %s\n", Narrow(args.job.library).c_str());
    if (args.only)
        std::printf("only the rule %s is reported\n", args.only->id);
    Check(args.job, report);
    RemoveWorkFolders();
    if (report.Violations())
        std::printf("%d violation%s\n", report.Violations(), report.Violations() == 1 ? "" : "s");
    else
        std::printf("no violations\n");
    return report.Violations() ? 1 : 0;
}
