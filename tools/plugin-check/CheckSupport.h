// What the three plug-in checks share: the report, the guard that names the plug-in call that
// crashed, the host context nobody may touch, memory and temporary-folder helpers, and the rules
// for wave formats and tag blocks (the host's own, from contract/).
#pragma once

#include "contract/BlockRules.h"
#include "contract/FormatRules.h"
#include "contract/TagBlockRule.h"
#include "sdk/wavemill_plugin.h"
#include "text/String.h"

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace wm::check {

// Each violation is printed once, in plain words; the exit status follows from the count.
class Report {
  public:
    void Violation(const std::string& rule, const std::string& text);
    void Note(const std::string& text);
    void Passed(const std::string& text);
    int Violations() const { return violations_; }
    // What the lines are about ("the copy cut mid-frame"); a rule broken there is its own.
    void SetContext(std::string context) { context_ = std::move(context); }

  private:
    std::string InContext(const std::string& text) const;

    std::set<std::string> rules_; // a rule broken on every block is reported once
    int violations_ = 0;
    std::string context_;
};

// Sets the report's context for one scope.
class ReportContext {
  public:
    ReportContext(Report& report, std::string context) : report_(report) {
        report_.SetContext(std::move(context));
    }
    ~ReportContext() { report_.SetContext({}); }
    ReportContext(const ReportContext&) = delete;
    ReportContext& operator=(const ReportContext&) = delete;

  private:
    Report& report_;
};

// Names the plug-in call in progress, so that a crash inside it is reported as the plug-in's.
class CallGuard {
  public:
    explicit CallGuard(const char* call);
    ~CallGuard();
    CallGuard(const CallGuard&) = delete;
    CallGuard& operator=(const CallGuard&) = delete;

  private:
    const char* previous_;
};
// Prints a crash inside a plug-in call, or later from memory a call damaged, as a violation
// and ends the process with status 1.
void InstallCrashReport(Report& report);

// A pointer the plug-in may keep but never dereference: reading it crashes.
void* HostContext();

// True when every heap of the process passes its own consistency check: a write past the end
// of a heap block that did not crash at once is caught after the call that made it.
bool HeapsAreSound();

// The process's committed private memory, in bytes.
uint64_t CommittedBytes();
// Runs `cycle` (which returns the bytes the plug-in handed back) until enough audio has gone
// through to see a leak of those buffers; true when memory grew with the audio.
bool GrowsWithAudio(const std::function<uint64_t()>& cycle, uint64_t* grownBytes);

// A new empty folder under the system's temporary folder, ending in "\".
String NewWorkFolder(const char* name);
void RemoveWorkFolders();
bool WriteFileBytes(const String& path, const void* data, size_t size);
bool ReadFileBytes(const String& path, std::vector<uint8_t>& data);
bool FileIsClosed(const String& path); // true when it can be opened with no sharing at all
bool FileExists(const String& path);
// The folder of plugin-check.exe, ending in "\": the installation's, beside Wavemill.exe.
String ProgramFolder();
std::vector<String> FilesIn(const String& folder);

// Small generated audio: 16-bit stereo at 44100 Hz, a sine of `ms` milliseconds.
WmWaveFormat CheckFormat();
std::vector<uint8_t> SineAudio(uint32_t ms);
// Integer PCM of 8 to 32 bits or 32-bit float, extensible beyond 16 bits or 2 channels, as
// decoders deliver them.
WmWaveFormat MakeFormat(uint16_t channels, uint32_t rate, uint16_t bits, bool isFloat = false);
std::string Describe(const WmWaveFormat& f); // "24-bit 6-channel 96000 Hz"
std::vector<uint8_t> SineAudio(const WmWaveFormat& f, uint32_t ms);
// The samples as numbers in -1..1 (integer PCM of 8 to 32 bits, 32-bit float); empty for others.
std::vector<double> SampleValues(const std::vector<uint8_t>& audio, const WmWaveFormat& f);
// Block sizes in bytes (whole frames, varied, the way a decoder and a pipe deliver them).
std::vector<uint32_t> BlockSizes(uint32_t total, uint32_t frame);
// The tag block the checks hand to plug-ins: a title, an artist and a small picture.
std::vector<uint8_t> CheckTagBlock();
extern const char16_t kCheckTitle[];

// The plug-in's "LastError" after a failed call, as ": <reason>" for a violation line.
std::string ReasonSuffix(const std::function<uint32_t(PluginValue*)>& askLastError, Report& report);

std::string Quoted(StringView text);

} // namespace wm::check
