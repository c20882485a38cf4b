#include "tools/plugin-check/Rules.h"

#include <algorithm>

namespace wm::check {

namespace {

constexpr RuleKind kAny = RuleKind::Any, kDecoder = RuleKind::Decoder, kEncoder = RuleKind::Encoder,
                   kEffect = RuleKind::Effect, kEncoderOrEffect = RuleKind::EncoderOrEffect;
constexpr Severity kFail = Severity::Fail;

// The rules as data, in the order --list prints them.
const std::vector<RuleInfo> kTable = {
    {Rule::Load, "load", kAny, kFail, "loads as a 64-bit Windows DLL with its imports present"},
    {Rule::Kind, "kind", kAny, kFail, "exports the entry points of one kind of plug-in"},
    {Rule::ExportMissing, "export-missing", kAny, kFail, "exports every entry point of its kind"},
    {Rule::ExportDecorated, "export-decorated", kAny, kFail,
     "exports plain names (Open, not _Open or Open@16)"},
    {Rule::RuntimeImport, "runtime-import", kAny, kFail,
     "imports no compiler runtime DLL that Windows lacks"},
    {Rule::Create, "create", kAny, kFail, "the create call returns an instance"},
    {Rule::Crash, "crash", kAny, kFail, "no call crashes"},
    {Rule::MemoryDamaged, "memory-damaged", kAny, kFail,
     "no call damages memory that is used after it returned"},
    {Rule::CallHangs, "call-hangs", kAny, kFail, "every call returns within the time limit"},
    {Rule::UnknownValue, "unknown-value", kAny, kFail,
     "answers 0 for a value name it does not know"},
    {Rule::CommunicateEndless, "communicate-endless", kAny, kFail,
     "ends \"Communicate\" at every stage by answering 0"},
    {Rule::LastErrorEmpty, "lasterror-empty", kAny, kFail,
     "\"LastError\" answered non-zero carries a text"},
    {Rule::LastErrorLines, "lasterror-lines", kAny, kFail,
     "\"LastError\" is one line, without a line break"},
    {Rule::LastErrorMissing, "lasterror-missing", kAny, kFail,
     "a refusal says why through \"LastError\""},
    {Rule::Leak, "leak", kAny, kFail, "memory does not grow with the audio passed"},

    {Rule::DecodesEntry, "decodes-entry", kDecoder, kFail,
     "each \"Decodes\" entry is an extension with its dot and a description"},
    {Rule::DecodesEndless, "decodes-endless", kDecoder, kFail,
     "\"Decodes\" answers 0 after the last entry"},
    {Rule::DecodesNone, "decodes-none", kDecoder, kFail, "\"Decodes\" claims an extension"},
    {Rule::SampleExtension, "sample-extension", kDecoder, kFail,
     "claims the extension of each sample it is given"},
    {Rule::ExtensionTaken, "extension-taken", kDecoder, Severity::Warning,
     "an extension it claims is not read already by an installed decoder"},
    {Rule::OpenMissing, "open-missing", kDecoder, kFail,
     "\"Open\" refuses a file that does not exist"},
    {Rule::OpenForeign, "open-foreign", kDecoder, kFail,
     "\"Open\" refuses a file that is not its format"},
    {Rule::OpenSample, "open-sample", kDecoder, kFail, "\"Open\" opens each sample"},
    {Rule::OpenFormat, "open-format", kDecoder, kFail, "the format \"Open\" reports is sound"},
    {Rule::OpenLength, "open-length", kDecoder, kFail, "msLength follows from byteLength"},
    {Rule::OpenTags, "open-tags", kDecoder, kFail, "the source's tag block is sound"},
    {Rule::OpenSecond, "open-second", kDecoder, kFail, "the second data block is sound"},
    {Rule::BlockNull, "block-null", kDecoder, kFail, "a block with bytes has a data pointer"},
    {Rule::BlockWholeFrames, "block-whole-frames", kDecoder, kFail,
     "every block holds whole sample frames"},
    {Rule::BlockFormat, "block-format", kDecoder, kFail,
     "every block carries the format \"Open\" reported"},
    {Rule::BlockPosition, "block-position", kDecoder, kFail,
     "msPosition follows from the bytes delivered before the block"},
    {Rule::BlockDuration, "block-duration", kDecoder, kFail,
     "msDuration follows from the block's length"},
    {Rule::EndWithAudio, "end-with-audio", kDecoder, kFail, "the end flag comes on an empty block"},
    {Rule::DecodeFailed, "decode-failed", kDecoder, kFail,
     "\"DecodeBlock\" decodes a sample to its end"},
    {Rule::Stalls, "stalls", kDecoder, kFail,
     "no endless run of empty blocks without the end flag"},
    {Rule::NoEnd, "no-end", kDecoder, kFail, "the end flag comes within the announced length"},
    {Rule::ByteTotal, "byte-total", kDecoder, kFail,
     "the blocks add up to the announced byteLength"},
    {Rule::Close, "close", kDecoder, kFail, "\"Close\" succeeds"},
    {Rule::AfterClose, "after-close", kDecoder, kFail, "\"DecodeBlock\" after \"Close\" answers 0"},
    {Rule::CloseKeepsFile, "close-keeps-file", kDecoder, kFail,
     "the source can be deleted after \"Close\""},
    {Rule::ZeroedLength, "zeroed-length", kDecoder, kFail,
     "zeros at the end of a file are decoded as silence"},
    {Rule::TwoOpen, "two-open", kDecoder, kFail,
     "a second instance can open a source the first has open"},
    {Rule::TwoDecoders, "two-decoders", kDecoder, kFail,
     "two instances decoding at once each deliver the audio whole"},
    {Rule::IdTagsAudio, "idtags-audio", kDecoder, kFail,
     "writing tags through \"IDTags\" leaves the audio alone"},
    {Rule::IdTagsReadBack, "idtags-readback", kDecoder, kFail,
     "tags written through \"IDTags\" come back from \"Open\""},
    {Rule::IdTagsMissing, "idtags-missing", kDecoder, kFail,
     "\"IDTags\" refuses a file that does not exist"},

    {Rule::Extension, "extension", kEncoder, kFail,
     "\"Extension\" answers an extension with its dot"},
    {Rule::Begin, "begin", kEncoder, kFail,
     "\"ENC_BeginConversion\" of 16-bit stereo PCM succeeds"},
    {Rule::Encode, "encode", kEncoder, kFail,
     "\"ENC_EncodeBlock\" takes every block, the empty last one too"},
    {Rule::End, "end", kEncoder, kFail, "\"ENC_EndConversion\" succeeds"},
    {Rule::SecondBlock, "second-block", kEncoder, kFail,
     "the second block handed back at the end is sound"},
    {Rule::OutputEmpty, "output-empty", kEncoder, kFail, "the output path is written"},
    {Rule::OutputOpen, "output-open", kEncoder, kFail,
     "the output is closed after \"ENC_EndConversion\""},
    {Rule::OutputElsewhere, "output-elsewhere", kEncoder, kFail,
     "nothing is written beside the output unless reported"},
    {Rule::ReadBack, "read-back", kEncoder, kFail,
     "the output reads back as the audio encoded, in its format"},
    {Rule::Lossless, "lossless", kEncoder, kFail,
     "an encoder that answers \"Lossless\" reads back sample for sample"},
    {Rule::DecodedPeak, "decoded-peak", kEncoder, kFail,
     "an encoder that answers \"DecodedPeak\" gives the peak its output reads back with"},
    {Rule::AfterEnd, "after-end", kEncoder, kFail,
     "\"ENC_EncodeBlock\" after \"ENC_EndConversion\" answers 0"},
    {Rule::FailedOpen, "failed-open", kEncoder, kFail,
     "a failed run (runError 1) still closes the output"},
    {Rule::OptionsIgnored, "options-ignored", kEncoder, kFail, "a made-up option is refused"},
    {Rule::OptionsReason, "options-reason", kEncoder, kFail,
     "a refused option is named through \"LastError\""},
    {Rule::OptionsHost, "options-host", kEncoder, kFail,
     "the host's own options that reach every encoder are accepted"},
    {Rule::TwoEncoders, "two-encoders", kEncoder, kFail,
     "two instances encoding at once each write their own audio"},

    {Rule::FormatRefused, "format-refused", kEncoderOrEffect, kFail,
     "the plain 16-bit stereo format is taken"},
    {Rule::FormatRefusedSilently, "format-refused-silently", kEncoderOrEffect, kFail,
     "a format refused is refused with a reason"},

    {Rule::LiveFormat, "live-format", kEffect, kFail,
     "a block handed back declares a sound format"},
    {Rule::LiveFrames, "live-frames", kEffect, kFail,
     "a block handed back holds whole frames of its format"},
    {Rule::LiveNull, "live-null", kEffect, kFail,
     "a block handed back with bytes has a data pointer"},
    {Rule::WritesInput, "writes-input", kEffect, kFail, "the block given is left untouched"},
    {Rule::Duration, "duration", kEffect, kFail,
     "the audio handed back lasts as long as the audio given"},
    {Rule::LiveEnd, "live-end", kEffect, kFail, "\"DSP_EndConversion\" succeeds"},
    {Rule::NonLiveOpen, "nonlive-open", kEffect, kFail,
     "the rendered file is closed after \"DSP_PassNonLive\""},
    {Rule::NonLiveFile, "nonlive-file", kEffect, kFail, "the rendered file is rewritten in place"},
    {Rule::NonLiveFrames, "nonlive-frames", kEffect, kFail,
     "the rewritten file holds whole frames"},
    {Rule::After, "after", kEffect, kFail, "\"DSP_AfterConversion\" succeeds"},
    {Rule::SettingsIgnored, "settings-ignored", kEffect, kFail, "a made-up setting is refused"},
    {Rule::SettingsReason, "settings-reason", kEffect, kFail,
     "a refused setting is named through \"LastError\""},
    {Rule::TwoInChain, "two-in-chain", kEffect, kFail,
     "two instances in one chain each act on their own audio"},
    {Rule::WidthGarbage, "width-garbage", kEffect, kFail,
     "the same audio at another sample width gives the same output"},
};

} // namespace

const std::vector<RuleInfo>& RuleTable() {
    return kTable;
}

const RuleInfo& InfoOf(Rule rule) {
    const std::vector<RuleInfo>& table = RuleTable();
    return *std::find_if(table.begin(), table.end(),
                         [rule](const RuleInfo& info) { return info.rule == rule; });
}

const RuleInfo* FindRule(std::string_view id) {
    const std::vector<RuleInfo>& table = RuleTable();
    const auto found = std::find_if(table.begin(), table.end(),
                                    [id](const RuleInfo& info) { return info.id == id; });
    return found == table.end() ? nullptr : &*found;
}

const char* KindLabel(RuleKind kind) {
    switch (kind) {
    case RuleKind::Decoder:
        return "decoder";
    case RuleKind::Encoder:
        return "encoder";
    case RuleKind::Effect:
        return "effect";
    case RuleKind::EncoderOrEffect:
        return "encoder, effect";
    case RuleKind::Any:
        break;
    }
    return "any";
}

} // namespace wm::check
