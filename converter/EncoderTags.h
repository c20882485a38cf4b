// The tag set the encoder receives: the user's -tag options, the source's tags, the
// converter's own tags brought up to date, and the tags that must not travel dropped.
#pragma once

#include "options/OptionStore.h"
#include "tags/IDTagSet.h"
#include "tags/ReplayGain.h"
#include "text/String.h"

#include <cstdint>
#include <vector>

namespace wm {

class Console;

// What becomes of the replay-gain tags (and iTunNORM) on their way to the encoder.
enum class ReplayGainTags {
    Keep,            // the encoder or an effect asked for them
    Drop,            // nobody asked
    KeepOnlyTheUsers // an effect changes the level: the source's values are wrong, -tag's stand
};

struct EncoderTagSource {
    const OptionStore& options;
    const String& programFolder;
    const String& codec;
    const String& inputFile; // "-" for standard input
};

class EncoderTags {
  public:
    explicit EncoderTags(const EncoderTagSource& source) : source_(source) {}

    // Builds the set from the source's tag block and its second block ("Audio Quality").
    void UpdateEncoderTags(const void* tagBlock, uint32_t tagSize, const void* infoBlock,
                           uint32_t infoSize, ReplayGainTags replayGain,
                           const String& encoderSettings);
    const std::vector<uint8_t>& Block() const { return block_; }
    // The track's measured values in place of any the source had.
    void PutMeasuredTrackGain(const LoudnessRecord& measured);

  private:
    void AddUserTags();
    void RewriteOwnTags(const void* infoBlock, uint32_t infoSize, const String& encoderSettings);
    void RewriteSource(const void* infoBlock, uint32_t infoSize);
    void RewriteEncoderSettings(const String& encoderSettings);
    void DropTags(ReplayGainTags replayGain);
    bool GivenByTheUser(StringView name) const;

    EncoderTagSource source_;
    IDTagSet set_;
    StringList userTagNames_;
    std::vector<uint8_t> block_;
};

// Writes the block into the finished file through the decoder plug-in serving tagSourceFile's
// type ("IDTags"), retrying while the file is busy. False after the last retry, with the
// decoder's "LastError" in reason when one is given. console is null when the run is silent.
// Without writerRequired a type no decoder serves is left untagged.
bool IDTagWriter(const String& outputFile, const String& tagSourceFile,
                 const std::vector<uint8_t>& block, const String& programFolder, Console* console,
                 String* reason = nullptr, bool writerRequired = false);

} // namespace wm
