// What the three plug-in checks share: the report, the guard that names the plug-in call that
// crashed, the host context nobody may touch, memory and temporary-folder helpers, and the rules
// for wave formats and tag blocks.
#pragma once

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

  private:
    std::set<std::string> rules_; // a rule broken on every block is reported once
    int violations_ = 0;
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
// Prints a crash inside the plug-in as a violation and ends the process with status 1.
void InstallCrashReport(Report& report);

// A pointer the plug-in may keep but never dereference: reading it crashes.
void* HostContext();

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
std::vector<String> FilesIn(const String& folder);

// Plain-word problems of a wave format a plug-in reported; empty when it is sound.
std::string FormatProblem(const WmWaveFormat& f);
// Plain-word problem of a tag block a plug-in handed back; empty when it is sound.
std::string TagBlockProblem(const void* data, uint32_t size);
bool SameFormat(const WmWaveFormat& a, const WmWaveFormat& b);
uint64_t BytesToMs(uint64_t bytes, const WmWaveFormat& f);

// Small generated audio: 16-bit stereo at 44100 Hz, a sine of `ms` milliseconds.
WmWaveFormat CheckFormat();
std::vector<uint8_t> SineAudio(uint32_t ms);
// Block sizes in bytes (whole frames, varied, the way a decoder and a pipe deliver them).
std::vector<uint32_t> BlockSizes(uint32_t total, uint32_t frame);
// The tag block the checks hand to plug-ins: a title, an artist and a small picture.
std::vector<uint8_t> CheckTagBlock();
extern const char16_t kCheckTitle[];

// The plug-in's "LastError" after a failed call, as ": <reason>" for a violation line.
std::string ReasonSuffix(const std::function<uint32_t(PluginValue*)>& askLastError, Report& report);

std::string Quoted(StringView text);

} // namespace wm::check
