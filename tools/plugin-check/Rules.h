// The validator's rules, one table: each has an id printed on its FAIL lines, the kind of
// plug-in it concerns and a one-line summary (`--list`). Adding a rule is one enum value and
// one table row.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace wm::check {

enum class Rule : uint8_t {
    // Any kind
    Load,
    Kind,
    ExportMissing,
    ExportDecorated,
    RuntimeImport,
    Create,
    Crash,
    MemoryDamaged,
    CallHangs,
    UnknownValue,
    CommunicateEndless,
    LastErrorEmpty,
    LastErrorLines,
    LastErrorMissing,
    Leak,
    // Decoder
    DecodesEntry,
    DecodesEndless,
    DecodesNone,
    SampleExtension,
    ExtensionTaken,
    OpenMissing,
    OpenForeign,
    OpenSample,
    OpenFormat,
    OpenLength,
    OpenTags,
    OpenSecond,
    BlockNull,
    BlockWholeFrames,
    BlockFormat,
    BlockPosition,
    BlockDuration,
    EndWithAudio,
    DecodeFailed,
    Stalls,
    NoEnd,
    ByteTotal,
    Close,
    AfterClose,
    CloseKeepsFile,
    ZeroedLength,
    TwoOpen,
    TwoDecoders,
    IdTagsAudio,
    IdTagsReadBack,
    IdTagsMissing,
    // Encoder
    Extension,
    Begin,
    Encode,
    End,
    SecondBlock,
    OutputEmpty,
    OutputOpen,
    OutputElsewhere,
    ReadBack,
    Lossless,
    DecodedPeak,
    AfterEnd,
    FailedOpen,
    OptionsIgnored,
    OptionsReason,
    OptionsHost,
    TwoEncoders,
    // Encoder and effect
    FormatRefused,
    FormatRefusedSilently,
    // Effect
    LiveFormat,
    LiveFrames,
    LiveNull,
    WritesInput,
    Duration,
    LiveEnd,
    NonLiveOpen,
    NonLiveFile,
    NonLiveFrames,
    After,
    SettingsIgnored,
    SettingsReason,
    TwoInChain,
    WidthGarbage,
};

enum class RuleKind : uint8_t { Any, Decoder, Encoder, Effect, EncoderOrEffect };
// A warning is printed with its id but does not count as a violation.
enum class Severity : uint8_t { Fail, Warning };

struct RuleInfo {
    Rule rule;
    const char* id; // "block-whole-frames"
    RuleKind kind;
    Severity severity;
    const char* summary;
};

const std::vector<RuleInfo>& RuleTable();
const RuleInfo& InfoOf(Rule rule);
// Null for an id the table does not hold.
const RuleInfo* FindRule(std::string_view id);
const char* KindLabel(RuleKind kind);

} // namespace wm::check
