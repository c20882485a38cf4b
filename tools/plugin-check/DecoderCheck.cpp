// A decoder as the host drives it: "Decodes", refusals of files it cannot read, one whole decode
// of the sample (open, blocks, the end, close), a call after close, leaks across runs, and the
// tag writer ("IDTags") when the decoder offers it.
#include "files/FileOps.h"
#include "files/Folders.h"
#include "files/PathText.h"
#include "plugins/PluginFolder.h"
#include "plugins/clTwCodecHandler.h"
#include "plugins/clTwDecoder.h"
#include "tags/IDTagSet.h"
#include "tools/plugin-check/Checks.h"

#include <algorithm>

namespace wm::check {

namespace {

constexpr uint32_t kMaxExtensions = 256;
constexpr uint32_t kMaxEmptyInARow = 1000;

struct Decoded {
    uint64_t bytes = 0; // audio delivered
    uint64_t handedBack = 0;
    std::vector<uint8_t> audio; // kept only when asked for
    IDTagSet tags;
    WmWaveFormat format{};
};

// How a decode is judged: a sample must decode whole; a repeat only measures memory; a damaged
// copy may be refused, with a reason, at any block.
enum class Mode { Sample, Repeat, Damaged };

StringList Claims(clTwDecoder& decoder, Report& report) {
    StringList extensions;
    for (uint32_t index = 0; index < kMaxExtensions; ++index) {
        PluginValue value{};
        value.value1 = index;
        CallGuard guard("Get \"Decodes\"");
        if (!decoder.Get(WM_VALUE_DECODES, &value))
            return extensions;
        const auto* ext = static_cast<const char16_t*>(value.pointer1);
        const auto* description = static_cast<const char16_t*>(value.pointer2);
        if (!ext || ext[0] != u'.' || !description || !*description) {
            report.Violation(Rule::DecodesEntry, "\"Decodes\" entry " + std::to_string(index) +
                                                     " needs pointer1 = an extension with its dot "
                                                     "and pointer2 = a description");
            return extensions;
        }
        extensions.emplace_back(ext);
        report.Note("reads " + Narrow(ext) + " (" + Narrow(description) + ")");
    }
    report.Violation(Rule::DecodesEndless, "keeps answering \"Decodes\" after " +
                                               std::to_string(kMaxExtensions) +
                                               " entries: answer 0 after the last one");
    return extensions;
}

uint32_t OpenFile(clTwDecoder& decoder, const String& path, DecodeOpenInfo& info) {
    info = DecodeOpenInfo{};
    info.path = path.c_str();
    info.openMode = WM_OPEN_CONVERT;
    CallGuard guard("Open");
    // A sheet is opened as the host opens it with -track: told its first track.
    if (EndsWithNoCase(path, u".cue")) {
        PluginValue track{};
        track.value1 = 1;
        decoder.Set(WM_VALUE_TRACK, &track);
    }
    return decoder.Open(&info);
}

// A missing file and a file of another kind under the decoder's extension must both fail.
void CheckRefusals(clTwDecoder& decoder, const String& extension, Report& report) {
    const String folder = NewWorkFolder("refusals");
    DecodeOpenInfo info;
    if (OpenFile(decoder, folder + u"missing" + extension, info))
        report.Violation(Rule::OpenMissing,
                         "\"Open\" of a file that does not exist returned non-zero");
    else
        RequireReason(decoder, "\"Open\" of a file that does not exist", report);
    const std::string text(4096, 'x');
    const String foreign = folder + u"not-audio" + extension;
    WriteFileBytes(foreign, text.data(), text.size());
    if (OpenFile(decoder, foreign, info)) {
        report.Violation(Rule::OpenForeign,
                         "\"Open\" accepted a file of 4096 'x' characters: refuse "
                         "what is not your format, with a reason in \"LastError\"");
        CallGuard guard("Close");
        ConversionInfo conversion{};
        decoder.Close(&conversion);
    } else {
        RequireReason(decoder, "\"Open\" of a file of 4096 'x' characters", report);
    }
}

void CheckOpenRecord(const DecodeOpenInfo& info, Report& report) {
    if (std::string problem = FormatProblem(info.format); !problem.empty())
        report.Violation(Rule::OpenFormat,
                         "the format \"Open\" reported is wrong" + FaultOf(info.format) + problem);
    if (info.byteLength && info.msLength != BytesToMs(info.byteLength, info.format))
        report.Violation(Rule::OpenLength, "msLength " + std::to_string(info.msLength) +
                                               " does not follow from byteLength " +
                                               std::to_string(info.byteLength));
    if (info.tagData || info.tagSize)
        if (std::string problem = TagBlockProblem(info.tagData, info.tagSize); !problem.empty())
            report.Violation(Rule::OpenTags, "the source's tag block is damaged" +
                                                 FaultOf(info.tagData, info.tagSize) + problem);
    if (info.secondData || info.secondSize)
        if (std::string problem = TagBlockProblem(info.secondData, info.secondSize);
            !problem.empty())
            report.Violation(Rule::OpenSecond, "the second data block is damaged" +
                                                   FaultOf(info.secondData, info.secondSize) +
                                                   problem);
}

// One block against the rules; false ends the decode, since what follows a broken block would
// only repeat its fault.
bool CheckBlock(const AudioBlockInfo& block, const DecodeOpenInfo& info, uint64_t before,
                Report& report) {
    const std::string at = "the block at byte " + std::to_string(before);
    if (block.length && !block.data) {
        report.Violation(Rule::BlockNull, at + " has " + std::to_string(block.length) +
                                              " bytes but no data pointer");
        return false;
    }
    if (const TornBlock torn = TornBlockOutcome(block); torn != TornBlock::Whole) {
        report.Violation(Rule::BlockWholeFrames,
                         at + " has " + std::to_string(block.length) + " bytes, not whole " +
                             std::to_string(FrameBytes(block.format)) + "-byte frames" +
                             (block.endOfStream ? " (it carries the end flag)" : "") + ": " +
                             TornBlockConsequence(torn) +
                             "; deliver whole frames and drop a partial one at the end");
        return false;
    }
    if (!SameFormat(block.format, info.format))
        report.Violation(Rule::BlockFormat, at + " carries another format than \"Open\" reported");
    if (block.msPosition != ExpectedPositionMs(before, info.format))
        report.Violation(Rule::BlockPosition,
                         at + " is positioned at " + std::to_string(block.msPosition) +
                             " ms; the bytes before it make " +
                             std::to_string(ExpectedPositionMs(before, info.format)) + " ms");
    if (block.msDuration != BytesToMs(block.length, info.format))
        report.Violation(Rule::BlockDuration, at + " gives msDuration " +
                                                  std::to_string(block.msDuration) +
                                                  ", not length x 1000 / avgBytesPerSec");
    if (block.endOfStream && block.length)
        report.Violation(Rule::EndWithAudio,
                         "the end flag came on a block that carries audio: the host takes the "
                         "progress from a block's start, so end with an empty block positioned at "
                         "the end or the progress stops short of 100 %");
    return true;
}

// A block call that wrote past a buffer's end without crashing leaves the heap damaged.
bool HeapStillSound(uint64_t before, Report& report) {
    if (HeapsAreSound())
        return true;
    report.Violation(Rule::MemoryDamaged,
                     "the heap is damaged after \"DecodeBlock\" of the block at byte " +
                         std::to_string(before) +
                         ": it wrote past the end of a buffer (one sized for another "
                         "format, or a fixed size, than the sample's?); the host would "
                         "crash or corrupt memory");
    return false;
}

// Audio beyond this many times the announced length means the stream never ends.
constexpr uint64_t kOverrunFactor = 4;

bool EndsInTime(const DecodeOpenInfo& info, const Decoded& out, uint32_t emptyInARow,
                Report& report) {
    if (emptyInARow > kMaxEmptyInARow) {
        report.Violation(Rule::Stalls, "more than " + std::to_string(kMaxEmptyInARow) +
                                           " empty blocks in a row without the end flag: the host "
                                           "waits for the end flag forever, so the run never ends");
        return false;
    }
    if (info.byteLength && out.bytes > info.byteLength * kOverrunFactor) {
        report.Violation(Rule::NoEnd, "delivered " + std::to_string(out.bytes) +
                                          " bytes of a stream announced as " +
                                          std::to_string(info.byteLength) +
                                          " without the end flag: the host stops only at the end "
                                          "flag, so the run never ends");
        return false;
    }
    return true;
}

bool DecodeBlocks(clTwDecoder& decoder, const DecodeOpenInfo& info, Decoded& out, Mode mode,
                  Report& report) {
    const bool keepAudio = mode != Mode::Repeat;
    uint32_t emptyInARow = 0;
    for (;;) {
        AudioBlockInfo block{};
        uint32_t ok = 0;
        {
            CallGuard guard("DecodeBlock");
            ok = decoder.DecodeBlock(&block);
        }
        if (keepAudio && !HeapStillSound(out.bytes, report))
            return false;
        if (!ok && mode == Mode::Damaged) {
            RequireReason(
                decoder, "\"DecodeBlock\" refused it at byte " + std::to_string(out.bytes), report);
            return false;
        }
        if (!ok) {
            report.Violation(Rule::DecodeFailed, "\"DecodeBlock\" failed at byte " +
                                                     std::to_string(out.bytes) +
                                                     Reason(decoder, report));
            return false;
        }
        if (!CheckBlock(block, info, out.bytes, report))
            return false;
        if (keepAudio && block.length)
            out.audio.insert(out.audio.end(), static_cast<const uint8_t*>(block.data),
                             static_cast<const uint8_t*>(block.data) + block.length);
        out.bytes += block.length;
        out.handedBack += block.length;
        emptyInARow = IsEmptyBlock(block) ? emptyInARow + 1 : 0;
        if (block.endOfStream)
            break;
        if (!EndsInTime(info, out, emptyInARow, report))
            return false;
    }
    if (mode != Mode::Damaged && info.byteLength && out.bytes != info.byteLength)
        report.Violation(Rule::ByteTotal, "the blocks hold " + std::to_string(out.bytes) +
                                              " bytes; \"Open\" announced byteLength " +
                                              std::to_string(info.byteLength));
    return true;
}

void CloseDecoder(clTwDecoder& decoder, Report& report) {
    ConversionInfo conversion{};
    {
        CallGuard guard("Close");
        if (!decoder.Close(&conversion))
            report.Violation(Rule::Close, "\"Close\" returned 0" + Reason(decoder, report));
    }
    AudioBlockInfo after{};
    CallGuard guard("DecodeBlock after Close");
    if (decoder.DecodeBlock(&after))
        report.Violation(Rule::AfterClose, "\"DecodeBlock\" after \"Close\" returned non-zero: a "
                                           "closed decoder must answer 0");
}

// Open, every block, close, then one more block, which a closed decoder must refuse.
bool DecodeFile(clTwDecoder& decoder, const String& path, Decoded& out, Mode mode, Report& report) {
    DecodeOpenInfo info;
    if (!OpenFile(decoder, path, info)) {
        if (mode == Mode::Damaged)
            RequireReason(decoder, "\"Open\" refused it", report);
        else
            report.Violation(Rule::OpenSample,
                             "\"Open\" of " + Quoted(path) + " failed" + Reason(decoder, report));
        return false;
    }
    CheckOpenRecord(info, report);
    out.tags.Deserialize(info.tagData, info.tagSize);
    out.format = info.format;
    const bool decoded = DecodeBlocks(decoder, info, out, mode, report);
    CloseDecoder(decoder, report);
    return decoded;
}

// Users run converters side by side, and the tag writer's instance lives beside the run's: two
// instances decoding the sample at once, block by block in turn, must each give the audio whole.
void CheckTwoInstances(const CheckJob& job, const Decoded& original, Report& report) {
    const String& sample = job.samples.front();
    Guarded<clTwDecoder> decoders[2];
    DecodeOpenInfo info[2];
    for (int i = 0; i < 2; ++i)
        if (!Bind(decoders[i], job.library, "Create", report) ||
            !OpenFile(decoders[i], sample, info[i])) {
            report.Violation(Rule::TwoOpen, "a second instance cannot open the sample while the "
                                            "first has it open: open sources shared for reading");
            return;
        }
    std::vector<uint8_t> audio[2];
    bool ended[2] = {false, false};
    for (uint32_t turn = 0; !(ended[0] && ended[1]) && turn < (1u << 22); ++turn) {
        const int i = turn % 2;
        AudioBlockInfo block{};
        CallGuard guard("DecodeBlock");
        ended[i] = ended[i] || !decoders[i].DecodeBlock(&block);
        if (ended[i])
            continue;
        // The end comes as an empty block with no data: it ends the turn-taking too.
        if (block.data) {
            const auto* data = static_cast<const uint8_t*>(block.data);
            audio[i].insert(audio[i].end(), data, data + block.length);
        }
        ended[i] = block.endOfStream != 0;
    }
    for (clTwDecoder& decoder : decoders) {
        ConversionInfo conversion{};
        CallGuard guard("Close");
        decoder.Close(&conversion);
    }
    if (audio[0] != original.audio || audio[1] != original.audio)
        report.Violation(Rule::TwoDecoders, "two instances decoding at once deliver other audio "
                                            "than one alone: keep all state in the instance");
}

// The host's tag writer: a fresh instance, "Decodes", then "Set" with "IDTags" on a finished file.
void CheckTagWriter(const CheckJob& job, const Decoded& original, Report& report) {
    const String folder = NewWorkFolder("idtags");
    const String& sample = job.samples.front();
    const String copy = folder + u"tagged" + ExtensionOf(sample);
    std::vector<uint8_t> bytes;
    if (!ReadFileBytes(sample, bytes) || !WriteFileBytes(copy, bytes.data(), bytes.size()))
        return;
    Guarded<clTwDecoder> writer;
    if (!Bind(writer, job.library, "Create", report))
        return;
    std::vector<uint8_t> block = CheckTagBlock();
    PluginValue value{};
    value.value2 = static_cast<uint32_t>(block.size());
    value.pointer1 = const_cast<char16_t*>(copy.c_str());
    value.pointer4 = block.data();
    uint32_t written = 0;
    {
        CallGuard guard("Set \"IDTags\"");
        written = writer.Set(WM_VALUE_ID_TAGS, &value);
    }
    if (!written) {
        report.Note("does not write tags (\"IDTags\" answered 0): an encoder of this format must "
                    "not ask for tags afterwards");
        return;
    }
    Decoded reread;
    if (!DecodeFile(writer, copy, reread, Mode::Sample, report))
        return;
    if (reread.audio != original.audio)
        report.Violation(Rule::IdTagsAudio, "writing tags through \"IDTags\" changed the audio");
    if (!reread.tags.Count() || reread.tags.GetValue(u"title") != kCheckTitle)
        report.Violation(Rule::IdTagsReadBack, "the title written through \"IDTags\" does not come "
                                               "back from \"Open\" of the tagged file");
    value.pointer1 = const_cast<char16_t*>(u"plugin-check: no such file");
    CallGuard guard("Set \"IDTags\" on a missing file");
    if (writer.Set(WM_VALUE_ID_TAGS, &value))
        report.Violation(Rule::IdTagsMissing, "\"IDTags\" for a file that does not exist returned "
                                              "non-zero");
    else
        report.Passed("tags written through \"IDTags\" read back, audio unchanged");
}

// The copies of a sample a real decoder meets sooner or later: an empty file, a file cut
// mid-frame, a file whose last bytes are zeros. Each may be refused with a reason; what is
// decoded must keep the rules, and zeros are silence, not the end of the stream.
void CheckDamagedCopies(clTwDecoder& decoder, const String& sample, const Decoded& original,
                        Report& report) {
    std::vector<uint8_t> bytes;
    if (!ReadFileBytes(sample, bytes) || bytes.empty())
        return;
    const String folder = NewWorkFolder("copies"), ext = ExtensionOf(sample);
    const size_t cutBy =
        std::min<size_t>(bytes.size(), std::max<size_t>(original.format.blockAlign / 2, 1));
    const size_t zeros = std::min<size_t>(bytes.size() / 4, 4096);
    std::vector<uint8_t> zeroed = bytes;
    std::fill(zeroed.end() - static_cast<std::ptrdiff_t>(zeros), zeroed.end(), uint8_t{0});
    const struct {
        std::string label;
        String name;
        std::vector<uint8_t> bytes;
    } copies[] = {
        {"a 0-byte copy of the sample", u"empty", {}},
        {"a copy of the sample cut mid-frame", u"cut",
         std::vector<uint8_t>(bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>(cutBy))},
        {"a copy of the sample with its last " + std::to_string(zeros) + " bytes zeroed", u"zeroed",
         zeroed}};
    for (const auto& copy : copies) {
        const String path = folder + copy.name + ext;
        WriteFileBytes(path, copy.bytes.data(), copy.bytes.size());
        ReportContext context(report, copy.label);
        Decoded out;
        // Zeros hit audio only in a file at least as large as its audio (plain PCM).
        const bool plainPcm = bytes.size() >= original.bytes;
        if (DecodeFile(decoder, path, out, Mode::Damaged, report) && copy.name == u"zeroed" &&
            plainPcm && out.bytes != original.bytes)
            report.Violation(Rule::ZeroedLength,
                             "it decodes to " + std::to_string(out.bytes) +
                                 " bytes, the sample to " + std::to_string(original.bytes) +
                                 ": zeros are silence, not the end of the stream");
    }
    report.Passed("damaged copies of the sample (empty, cut mid-frame, zeroed end)");
}

// A file name without its extension.
String StemOf(const String& name) {
    const size_t dot = name.rfind(u'.');
    return dot == String::npos ? name : name.substr(0, dot);
}

// One sample, decoded whole: its extension must be one the decoder claims.
bool DecodeSample(clTwDecoder& decoder, const String& sample, const StringList& extensions,
                  Decoded& out, Report& report) {
    const String ext = ExtensionOf(sample);
    if (std::none_of(extensions.begin(), extensions.end(),
                     [&](const String& e) { return EqualsNoCase(e, ext); }))
        report.Violation(Rule::SampleExtension, "does not claim " + Quoted(ext) +
                                                    ", the sample's extension: the host would not "
                                                    "choose it for that file");
    if (!DecodeFile(decoder, sample, out, Mode::Sample, report))
        return false;
    report.Passed("decoded " + std::to_string(out.bytes) + " bytes of " + Describe(out.format) +
                  " from " + Quoted(sample));
    return true;
}

// The host's decoders hold the file only between "Open" and "Close": a user deletes or replaces
// a source after converting it. The sample is copied with the files beside it of its own stem
// (a cue sheet's image), and every copy must be free again after "Close".
void CheckCloseReleasesFile(clTwDecoder& decoder, const String& sample, Report& report) {
    const String folder = NewWorkFolder("close");
    const String stem = StemOf(FileNamePart(sample));
    String copy;
    std::vector<String> copies;
    for (const String& name : FilesIn(FolderPart(sample))) {
        std::vector<uint8_t> bytes;
        if (!EqualsNoCase(StemOf(name), stem) || !ReadFileBytes(FolderPart(sample) + name, bytes) ||
            !WriteFileBytes(folder + name, bytes.data(), bytes.size()))
            continue;
        copies.push_back(folder + name);
        if (EqualsNoCase(name, FileNamePart(sample)))
            copy = folder + name;
    }
    if (copy.empty())
        return;
    Decoded out;
    DecodeFile(decoder, copy, out, Mode::Repeat, report);
    for (const String& path : copies)
        if (!DeleteFilePath(path))
            report.Violation(
                Rule::CloseKeepsFile,
                "'" + Narrow(FileNamePart(path)) +
                    "' cannot be deleted after \"Close\" (win:" + std::to_string(::GetLastError()) +
                    "): close every handle on the file in \"Close\"");
}

// Leaks, two instances at once and the tag writer, all on the first sample.
void CheckAcrossRuns(clTwDecoder& decoder, const CheckJob& job, const Decoded& first,
                     Report& report) {
    uint64_t grown = 0;
    if (GrowsWithAudio(
            [&] {
                Decoded again;
                DecodeFile(decoder, job.samples.front(), again, Mode::Repeat, report);
                return again.handedBack;
            },
            &grown))
        report.Violation(Rule::Leak,
                         "memory grew by " + std::to_string(grown >> 10) +
                             " KB over repeated decodes: the blocks handed back are not "
                             "freed (reuse one buffer; free it in \"Close\")");
    CheckCloseReleasesFile(decoder, job.samples.front(), report);
    CheckTwoInstances(job, first, report);
    CheckTagWriter(job, first, report);
}

// The host tries the cached decoder of an extension first, and only then the installed ones in
// turn; the first that reads it is cached for good.
void CheckClaimsTaken(const CheckJob& job, const StringList& extensions, Report& report) {
    const String folder = ProgramFolder() + u"decoder\\";
    for (const String& library : PluginLibraries(folder)) {
        if (EqualsNoCase(library, job.library))
            continue;
        for (const String& ext : extensions) {
            clTwDecoder other;
            CallGuard guard("an installed decoder (not the plug-in checked)");
            if (!clTwCodecHandler().TryDecoder(library, ext, other, HostContext(), false))
                continue;
            report.Violation(
                Rule::ExtensionTaken,
                Quoted(ext) + " is read already by decoder\\" + Narrow(FileNamePart(library)) +
                    ": the host keeps the first decoder that read an extension in its decoder "
                    "cache (HKEY_CURRENT_USER\\" +
                    Narrow(clTwCodecHandler::kDecoderCacheKey) +
                    "64, one value per extension) and tries it first from then on; delete the "
                    "value to have the decoders tried anew",
                Narrow(ext));
        }
    }
}

} // namespace

void CheckDecoder(const CheckJob& job, Report& report) {
    Guarded<clTwDecoder> decoder;
    if (!Bind(decoder, job.library, "Create", report))
        return;
    CheckUnknownValue(decoder, report);
    const StringList extensions = Claims(decoder, report);
    if (extensions.empty()) {
        report.Violation(Rule::DecodesNone, "answers no extension to \"Decodes\": the host never "
                                            "chooses it");
        return;
    }
    CheckClaimsTaken(job, extensions, report);
    CheckRefusals(decoder, extensions.front(), report);
    if (job.samples.empty()) {
        report.Note("no sample file given: open, blocks, close and \"IDTags\" were not driven");
        return;
    }
    CheckCommunicate(decoder, u"BeforeOpen", report);
    std::vector<Decoded> decoded(job.samples.size());
    bool sound = true;
    for (size_t i = 0; i < job.samples.size(); ++i)
        sound = DecodeSample(decoder, job.samples[i], extensions, decoded[i], report) && sound;
    for (const char16_t* stage : {u"BeforeEncoding", u"EndEncoding", u"AfterConversion"})
        CheckCommunicate(decoder, stage, report);
    if (!sound) {
        report.Note("damaged copies, leaks, two instances at once and \"IDTags\" were not "
                    "checked: the decode of a sample already broke a rule");
        return;
    }
    CheckDamagedCopies(decoder, job.samples.front(), decoded.front(), report);
    CheckAcrossRuns(decoder, job, decoded.front(), report);
}

} // namespace wm::check
