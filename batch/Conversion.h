// One converter at work: a Wavemill.exe started with its own command file, named events and
// shared bytes-encoded block, read through its pipes and watched for hangs and crashes. Its
// output is written under the batch's temporary name and moved onto the final name only when
// the conversion succeeded.
#pragma once

#include "batch/BatchProgress.h"
#include "batch/BatchReport.h"
#include "batch/OutputNames.h"
#include "batch/ParentLines.h"
#include "batch/Supervisor.h"
#include "process/ChildProcess.h"
#include "process/EventHandle.h"
#include "process/SharedMemoryBlock.h"
#include "protocol/NamedObjects.h"

#include <cstdint>
#include <memory>
#include <string>

namespace wm {

struct PlannedConversion {
    SourceFile source;
    String output;
    uint64_t sourceBytes = 0;
    String options;      // this file's own, after the batch's: effects that adapt it to the encoder
    String extraOptions; // after those: the Volume effect that brings its album to a loudness
};

// What every conversion of one batch shares.
struct ConversionSetup {
    String wavemill;      // the converter's full path
    String commandFolder; // where the command files are written, ending in "\"
    String crashFolder;   // where the converter writes its dumps, ending in "\"
    String codec;
    String passThrough; // options for every conversion (BatchOptions::passThrough)
    String namePrefix;  // makes the kernel-object names of this batch unique
    uint64_t hangMs = 60000;
    bool loudnessRecords = false; // album gain: each converter leaves its track's blocks
};

// Where conversion `number` leaves its loudness record (in the command folder).
String LoudnessRecordPath(const ConversionSetup& setup, uint32_t number);

// The process side of one converter; what to make of what it does is its Supervisor's.
class Conversion : private ConverterPort {
  public:
    Conversion(PlannedConversion plan, const ConversionSetup& setup, uint32_t number);
    ~Conversion();
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    // False when the converter could not be started; Finish then gives the reason.
    bool Start(uint64_t nowMs);
    // Reads its lines, takes its heartbeat and bytes encoded, ends it when it hangs.
    // True while it runs.
    bool Poll(uint64_t nowMs) { return supervisor_.Poll(nowMs); }
    // Sets its quit event: it stops at the next block and fails, keeping any existing output.
    void Stop() { supervisor_.Stop(); }
    // Ends the process at once (the user asked twice).
    void Kill() { supervisor_.Kill(); }
    // Once Poll returned false: moves a finished output into place, removes every temporary
    // file, and says what became of the source.
    FileOutcome Finish(uint64_t nowMs);

    RunningShare Share() const;
    HANDLE Process() const { return child_.Handle(); }
    const PlannedConversion& Plan() const { return plan_; }
    uint32_t Number() const { return number_; }

  private:
    StartResult Launch(String& problem) override;
    void AskToQuit() override;
    void EndNow() override;
    ConverterSight Look() override;

    bool WriteCommandFile(const ParentObjectNames& names);
    void ReadPipes();
    String CrashDump() const;
    FileOutcome Failed(FileOutcome outcome, const String& reason);

    PlannedConversion plan_;
    const ConversionSetup& setup_;
    uint32_t number_;
    String temp_;
    String commandFile_;
    EventHandle quit_, afterError_, heartbeat_;
    SharedMemoryBlock bytesEncoded_;
    ChildProcess child_;
    Utf16LineSplitter outLines_, errLines_;
    std::string errorsSeen_; // the first bytes of its standard error, as they came
    ConverterReport report_;
    Supervisor supervisor_;
    uint64_t startMs_ = 0;
    uint64_t startFileTime_ = 0;
};

} // namespace wm
