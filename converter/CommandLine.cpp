// Options: command-line split, command file, parsing, priority, banner and usage.
#include "converter/Log.h"
#include "converter/TwWavemill.h"
#include "files/FileAccess.h"
#include "files/PathText.h"
#include "plugins/clTwEncoder.h"
#include "process/WinString.h"
#include "text/NumberText.h"

#include <windows.h>

namespace wm {

namespace {
constexpr const char* kParseContext = "TwWavemill::ParseCommandLine";
}

void TwWavemill::SplitCommandLine() {
    String line = FromW(GetCommandLineW());
    LogLine(u"Splitting Command Line:");
    LogLine(line);
    options_.Fill(OptionTextOfCommandLine(line));
}

bool TwWavemill::ReadTwCommandFile(const String& name) {
    constexpr const char* kContext = "TwWavemill::ReadTwCommandFile";
    LogLine(u"->->", kContext);
    FileAccess file;
    if (!file.OpenRead(name)) {
        LogLine(u"Error opening TwCmd File.");
        return false;
    }
    bool failed = false;
    uint64_t size = file.Size(&failed);
    if (failed || size == 0) {
        LogLine(u"Error TwCmd File is Empty.");
        return false;
    }
    std::vector<char> buffer;
    // A command file is a line of options; anything huge is not one.
    if (size > 64u * 1024 * 1024) {
        LogLine(u"Error allocating TwCmd File Buffer.");
        return false;
    }
    buffer.assign(static_cast<size_t>(size) + 4, 0);
    bool readFailed = false;
    uint32_t got = file.Read(buffer.data(), static_cast<uint32_t>(size), 0, &readFailed);
    if (got < size) {
        LogLine(u"Error reading TwCmd File.");
        return false;
    }
    // An odd trailing byte cannot be a whole UTF-16 unit and is ignored.
    StringView text(reinterpret_cast<const char16_t*>(buffer.data()),
                    static_cast<size_t>(size) / 2);
    options_.Fill(text);
    parentMode_ = true;
    silent_ = true;
    LogLine(u"<-<-", kContext);
    return true;
}

bool TwWavemill::ParseCommandLine() {
    String v;
    if (!(v = options_.Value(u"errorfile")).empty()) {
        HANDLE h = CreateFileW(W(LongPathForm(v, kOpenPathLimit)), GENERIC_WRITE,
                               FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h != INVALID_HANDLE_VALUE) {
            console_.SetErrorSink(UniqueHandle(h));
            errorFileOpen_ = true;
        }
    }
    codec_ = options_.Value(u"convert_to");
    inputFile_ = options_.Value(u"infile");
    stdInput_ = inputFile_ == u"-";
    outputFile_ = options_.Value(u"outfile");
    tagSourceFile_ = outputFile_;
    if (!(v = options_.Value(u"fntousefortagloaddec")).empty())
        tagSourceFile_ = v;

    bool help = options_.Present(u"help");
    if ((codec_.empty() && inputFile_.empty() && outputFile_.empty()) || help) {
        if (parentMode_)
            LogError(u"Error missing infile & outfile & convert_to.", kParseContext);
        else
            PrintUsage();
        return false;
    }
    if (codec_.empty()) {
        LogError(u"Error no encoder specified.", kParseContext);
        return false;
    }
    if (inputFile_.empty()) {
        LogError(u"Error no input file specified", kParseContext);
        return false;
    }
    if (outputFile_.empty()) {
        LogError(u"Error no ouput file specified", kParseContext);
        return false;
    }

    if (options_.Present(u"noidtag"))
        writeTags_ = false;
    if (options_.Present(u"silent") || parentMode_)
        silent_ = true;

    if (!(v = options_.Value(u"evtquit")).empty()) {
        quitEventName_ = v;
        quitEvent_.CreateOrOpen(v);
    }
    if (!(v = options_.Value(u"evtafterconvseterror")).empty())
        afterConvErrorEvent_.CreateOrOpen(v);
    if (!(v = options_.Value(u"batchid")).empty())
        batchId_ = static_cast<uint32_t>(TextToInt(v));
    if (!(v = options_.Value(u"evtwatchdog")).empty())
        watchdogEvent_.CreateOrOpen(v);
    if (!(v = options_.Value(u"processor")).empty())
        ApplyProcessor();
    if (!(v = options_.Value(u"shrbytesencoded")).empty())
        bytesEncodedBlock_.Open(v, 8);
    if (!(v = options_.Value(u"tmpfolder")).empty())
        tempFolder_ = EnsureTrailingSeparator(v);

    for (int n = 1;; ++n) {
        String name = u"dspeffect" + IntToText(n);
        if (!options_.Find(name, &v))
            break;
        ReplaceAll(v, u"{qt}", u"\"");
        size_t eq = v.find(u'=');
        if (eq == String::npos)
            continue;
        DspRecord dsp;
        dsp.name = v.substr(0, eq);
        dsp.settings = v.substr(eq + 1);
        dsps_.push_back(std::move(dsp));
    }
    return true;
}

void TwWavemill::ApplyProcessor() {
    String value = options_.Value(u"processor");
    int64_t n = TextToInt(value);
    // Shifting past the mask's width would be undefined; such a processor does not exist.
    DWORD_PTR mask = n <= 1 ? 1 : (n - 1 < 64 ? DWORD_PTR(1) << (n - 1) : 0);
    LogLine(u"Allying to Processor " + value);
    if (!mask || !SetThreadAffinityMask(GetCurrentThread(), mask))
        LogInfo(u"Information: Processor " + value +
                    u" is not available; the conversion runs on any processor.",
                kParseContext);
}

void TwWavemill::SetConversionPriority() {
    String value = options_.Value(u"priority");
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

String TwWavemill::LoggedStripWavemillCmds() {
    LogScope scope("TwWavemill::StripWavemillCmds");
    return StripWavemillCmds(options_, dsps_.size());
}

void TwWavemill::PrintBanner() {
    console_.Write(u"", true);
    console_.Write(u"Tonewerk Wavemill audio converter, (c) 2021 Brightfold", true);
    console_.Write(u"", true);
}

void TwWavemill::PrintUsage() {
    PrintBanner();
    console_.Write(u"Usage: Wavemill.exe -infile=\"filename\" -outfile=\"filename\" "
                   u"-convert_to=\"codec\" [codec compression CLI]",
                   true);
}

void TwWavemill::EchoSettings() {
    console_.Write(u"Encoding: ");
    console_.Write(codec_, true);
    console_.Write(u"Audio Source: ");
    console_.Write(stdInput_ ? String(u"Standard Input") : inputFile_, true);
    console_.Write(u"Audio Destination: ");
    console_.Write(outputFile_, true);
    if (!dsps_.empty()) {
        console_.Write(u"DSP Effects: ");
        String names;
        for (const DspRecord& d : dsps_) {
            if (!names.empty())
                names += u", ";
            names += d.name;
        }
        console_.Write(names, true);
    }
    console_.Write(u"", true);
    console_.Write(u" 0%-----------25%-----------50%-----------75%-----------100%", true);
    console_.Write(u" ");
}

} // namespace wm
