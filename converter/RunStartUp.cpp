// Start-up: the console, the options (command line or command file), the parent's named
// objects, priority, banner and settings echo.
#include "converter/CommandFileText.h"
#include "converter/CommandLineText.h"
#include "converter/HelpText.h"
#include "converter/TwWavemill.h"
#include "files/FileAccess.h"
#include "files/Folders.h"
#include "files/PathText.h"
#include "files/SystemPath.h"
#include "process/Log.h"
#include "process/Registry.h"
#include "process/WinString.h"
#include "protocol/ConverterOptions.h"
#include "protocol/OptionHelp.h"
#include "text/NumberText.h"

#include <windows.h>

namespace wm {

namespace {
constexpr const char* kParseContext = "TwWavemill::ParseCommandLine";

// The name the system opens: long and relative paths made usable (empty when they cannot be).
String SystemPath(const String& path) {
    String systemPath;
    return SystemPathForm(path, kOpenPathLimit, systemPath) ? systemPath : String();
}
} // namespace

bool TwWavemill::StartUp() {
    programFolder_ = ProgramFolder();
    if (!console_.Open(programFolder_)) {
        MessageBoxW(nullptr, L"GetStdHandle", L"Console Error", MB_OK | MB_ICONERROR);
        status_.Fail("standard output cannot be had");
        return false;
    }
    const String line = FromW(GetCommandLineW());
    LogLine(u"Splitting Command Line:");
    LogLine(line);
    options_.Fill(OptionTextOfCommandLine(line));
    String commandFile;
    if (options_.Find(option::kCommandFile, &commandFile) && !ReadTwCommandFile(commandFile)) {
        MessageBoxW(nullptr, L"Error reading Tw Command File.", L"Wavemill", MB_OK | MB_ICONERROR);
        // The box may never be seen (no desktop, a script): the console hears it too, so that a
        // run that says nothing is one that never started.
        LogError(u"Error reading Tw Command File '" + commandFile + u"'.", "TwWavemill::StartUp");
        status_.Fail("the command file could not be read");
        return false;
    }
    if (!ParseCommandLine()) {
        status_.Fail("the options are incomplete");
        return false;
    }
    if (!opt_.silent)
        PrintBanner();
    parent_.StartHeartbeat();
    if (!opt_.silent)
        EchoSettings();
    return true;
}

bool TwWavemill::ReadTwCommandFile(const String& name) {
    LogScope scope("TwWavemill::ReadTwCommandFile");
    FileAccess file;
    if (!file.OpenRead(name)) {
        LogLine(u"Error opening TwCmd File.");
        return false;
    }
    bool failed = false;
    const uint64_t size = file.Size(&failed);
    if (failed || size == 0) {
        LogLine(u"Error TwCmd File is Empty.");
        return false;
    }
    // A command file is a line of options; anything huge is not one.
    if (size > 64u * 1024 * 1024) {
        LogLine(u"Error allocating TwCmd File Buffer.");
        return false;
    }
    std::vector<char> buffer(static_cast<size_t>(size) + 4, 0);
    if (file.Read(buffer.data(), static_cast<uint32_t>(size), 0, &failed) < size) {
        LogLine(u"Error reading TwCmd File.");
        return false;
    }
    options_.Fill(OptionTextOfCommandFile(buffer.data(), static_cast<size_t>(size)));
    parentMode_ = true;
    opt_.silent = true;
    console_.SetMode(parentMode_, opt_.silent);
    return true;
}

bool TwWavemill::ParseCommandLine() {
    const OptionsVerdict verdict = ReadRunOptions(options_, parentMode_, opt_);
    console_.SetMode(parentMode_, opt_.silent);
    if (!opt_.errorFile.empty()) {
        HANDLE h = CreateFileW(W(SystemPath(opt_.errorFile)), GENERIC_WRITE,
                               FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h != INVALID_HANDLE_VALUE)
            console_.SetErrorSink(UniqueHandle(h));
    }
    if (verdict == OptionsVerdict::ShowUsage)
        PrintUsage();
    else if (verdict != OptionsVerdict::Convert)
        LogError(VerdictText(verdict), kParseContext);
    if (verdict != OptionsVerdict::Convert)
        return false;
    String loudnessError;
    if (!ReadLoudnessRequest(options_, opt_.loudness, loudnessError)) {
        LogError(loudnessError, kParseContext);
        return false;
    }
    parent_.Open(opt_);
    if (!opt_.processor.empty())
        ApplyProcessor();
    return true;
}

void TwWavemill::ApplyProcessor() {
    const auto mask = static_cast<DWORD_PTR>(ProcessorMask(TextToInt(opt_.processor)));
    // Required text (README, Glossary): "Allying", spelled so.
    LogLine(u"Allying to Processor " + opt_.processor);
    if (!mask || !SetThreadAffinityMask(GetCurrentThread(), mask))
        LogInfo(u"Information: Processor " + opt_.processor +
                    u" is not available; the conversion runs on any processor.",
                kParseContext);
}

void TwWavemill::SetConversionPriority() {
    String value = options_.Value(option::kPriority);
    if (value.empty())
        return;
    LogLine(u"Setting Priority: " + value, "TwWavemill::SetConversionPriority");
    int thread = THREAD_PRIORITY_NORMAL;
    DWORD process = NORMAL_PRIORITY_CLASS;
    if (EqualsNoCase(value, u"low")) {
        thread = THREAD_PRIORITY_BELOW_NORMAL;
    } else if (EqualsNoCase(value, u"idle")) {
        thread = THREAD_PRIORITY_IDLE;
        process = IDLE_PRIORITY_CLASS;
    } else if (EqualsNoCase(value, u"high")) {
        thread = THREAD_PRIORITY_ABOVE_NORMAL;
    }
    SetThreadPriority(GetCurrentThread(), thread);
    SetPriorityClass(GetCurrentProcess(), process);
    PluginValue pv{};
    pv.pointer1 = value.data();
    encoder_.Set(WM_VALUE_PRIORITY, &pv);
}

void TwWavemill::PrintBanner() {
    console_.Write(u"", true);
    console_.Write(u"Tonewerk Wavemill " WAVEMILL_VERSION u" audio converter, (c) 2021 Brightfold",
                   true);
    console_.Write(u"", true);
}

void TwWavemill::PrintUsage() {
    PrintBanner();
    console_.Write(u"Usage: Wavemill.exe -infile=\"filename\" -outfile=\"filename\" "
                   u"-convert_to=\"codec\" [codec compression CLI]",
                   true);
    console_.Write(u"", true);
    for (const String& line : OptionHelpLines())
        console_.Write(line, true);
    for (const String& line : InstalledHelpLines(programFolder_))
        console_.Write(line, true);
}

void TwWavemill::EchoSettings() {
    console_.Write(u"Encoding: ");
    console_.Write(opt_.codec, true);
    console_.Write(u"Audio Source: ");
    console_.Write(opt_.standardInput ? String(u"Standard Input") : opt_.inputFile, true);
    console_.Write(u"Audio Destination: ");
    console_.Write(opt_.outputFile, true);
    if (!opt_.dsps.empty()) {
        String names;
        for (const DspRequest& d : opt_.dsps)
            names += (names.empty() ? u"" : u", ") + d.name;
        console_.Write(u"DSP Effects: ");
        console_.Write(names, true);
    }
    console_.Write(u"", true);
    console_.Write(u" 0%-----------25%-----------50%-----------75%-----------100%", true);
    console_.Write(u" ");
}

} // namespace wm
