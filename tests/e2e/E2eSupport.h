// Harness for end-to-end tests: runs the staged Wavemill.exe as a Windows parent would, with
// pipes on its standard handles, and gives each test its own work folder.
#pragma once

#include "tests/support/TestFiles.h"
#include "text/String.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace wm::e2e {

using test::Bytes;
using test::ReadBytes;
using test::StageDir;
using test::WriteBytes;

struct RunResult {
    int exitCode = -1;
    bool timedOut = false;
    uint32_t processId = 0;
    std::string out;             // standard output, UTF-16LE decoded to UTF-8
    std::string err;             // standard error, decoded the same way
    bool unmappedByWine = false; // status 1 and Wine's line that it could not map the process
};

struct RunOptions {
    Bytes stdinData;         // written to the child's standard input, then closed
    bool stdinIsPipe = true; // false: the child's standard input is NUL
    std::vector<std::pair<std::string, std::string>> env; // extra environment variables
    void* job = nullptr; // a job object the child joins before it runs (its children join too)
    String program;      // another Wavemill.exe than the staged one (a tree of a test's own)
};

String NewWorkDir(const std::string& name); // fresh empty folder, ending in "\"

RunResult RunWavemill(const String& arguments, const RunOptions& options = {});

std::string ReadText(const String& path);
void WriteText(const String& path, const std::string& utf8);
void WriteUtf16(const String& path, const String& text); // no byte-order mark
bool Exists(const String& path);
std::string DecodeUtf16(const Bytes& bytes);
bool Contains(const std::string& text, const std::string& part);

// The lines of a text file (a test plug-in's log), without line ends.
std::vector<std::string> ReadLines(const String& path);
// True when the folder holds no file or folder (a missing folder counts as empty).
bool FolderEmpty(const String& dir);

// Debug mode for the next run only (the run clears the setting).
void DebugNextRun();
// The debug logs ("DBG..." in the temporary folder) that runs left.
std::vector<std::filesystem::path> DebugLogs();

// Test-decoder script (see tests/plugins/README.md) written to dir + name; returns the path.
String WriteScript(const String& dir, const std::string& name, const std::string& script);

} // namespace wm::e2e
