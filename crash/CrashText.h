// The error line a crash leaves: which plug-in crashed in which call, what the exception was
// and where the dump went. Without it a run that crashed would end with no line at all.
#pragma once

#include "text/String.h"

#include <cstdint>

namespace wm {

struct CrashFacts {
    uint32_t code = 0;       // the exception code
    uint64_t accessKind = 0; // access violations: 0 read, 1 write, 8 execute
    uint64_t address = 0;    // access violations: the address touched
    bool hasAccess = false;  // whether accessKind and address are known
    String pluginFile;       // file name of the plug-in whose call was under way, if any
    String entryPoint;       // that call's export name, if known
    String faultModule;      // file name of the module the exception came from, if known
    String dumpPath;         // the dump written, empty when none could be
};

// "access violation writing address 0x0000000000000010", "stack overflow", ...
String ExceptionText(const CrashFacts& facts);

// "Error: The plug-in 'Echo.dll' crashed in DSP_PassAudioBlock: access violation ... Crash
// dump: C:\...\crash-12.dmp"; the program itself when no plug-in call was under way.
String CrashLine(const CrashFacts& facts);

} // namespace wm
