// The parent protocol from both ends: each line keyword written by the converter's writer and
// read by a parent's parser, each option of the table through the tokeniser, the converter's
// split between its own options and the encoder's, the encoders' list of the host's options, the
// batch's refusals, and -help.
#include "batch/BatchArguments.h"
#include "batch/ParentLines.h"
#include "contract/EncoderOptions.h"
#include "converter/CommandFileText.h"
#include "converter/CommandLineText.h"
#include "converter/RunOptions.h"
#include "protocol/CommandText.h"
#include "protocol/ConverterOptions.h"
#include "protocol/NamedObjects.h"
#include "protocol/OptionHelp.h"
#include "protocol/ParentLine.h"

#include <gtest/gtest.h>

using namespace wm;

namespace {

// The name an option is written with: a numbered one as its first.
String WrittenName(const ConverterOption& o, size_t number = 1) {
    return o.numbered ? String(o.name) + Widen(std::to_string(number)) : String(o.name);
}

struct HelpRow {
    String usage, meaning;
};

// The meaning stands from column 25, on the usage's line or, below a long usage, on the next.
std::vector<HelpRow> RowsOf(const StringList& lines) {
    constexpr size_t kColumn = 25;
    const String indent(kColumn, u' ');
    std::vector<HelpRow> rows;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!lines[i].starts_with(u"  -"))
            continue;
        if (i + 1 < lines.size() && lines[i + 1].starts_with(indent))
            rows.push_back({lines[i], lines[i + 1].substr(kColumn)});
        else if (lines[i].size() > kColumn)
            rows.push_back({lines[i].substr(0, kColumn), lines[i].substr(kColumn)});
    }
    return rows;
}

OptionStore StoreOf(StringView text) {
    OptionStore store;
    store.Fill(text);
    return store;
}

} // namespace

TEST(ParentLine, EveryKeywordWrittenIsParsedBackWithItsText) {
    const StringView texts[] = {u"",          u"30500", u"Encoding 'a b.mp3'",
                                u"Action: x", u"ä",     u"MSGTO: Vrx: msLen: 1"};
    for (ParentKeyword keyword : kParentKeywords)
        for (StringView text : texts) {
            const String line = ParentLineText(keyword, text);
            const ParsedParentLine parsed = ParseParentLine(line);
            EXPECT_TRUE(parsed.message) << Narrow(line);
            EXPECT_EQ(parsed.keyword, keyword) << Narrow(line);
            EXPECT_EQ(parsed.text, text) << Narrow(line);
        }
}

TEST(ParentLine, OtherLinesAreInformationOrUnknownMessages) {
    for (StringView line : {u"", u"MSGTO: Vrx:", u"msLen: 5", u" MSGTO: Vrx: msLen: 5",
                            u"Information: x", u"MSGTO: vrx: msLen: 5"})
        EXPECT_FALSE(ParseParentLine(line).message) << Narrow(line);
    for (StringView line : {u"MSGTO: Vrx: Later: x", u"MSGTO: Vrx: msLen:5",
                            u"MSGTO: Vrx: mslen: 5", u"MSGTO: Vrx: "}) {
        const ParsedParentLine parsed = ParseParentLine(line);
        EXPECT_TRUE(parsed.message) << Narrow(line);
        EXPECT_FALSE(parsed.keyword.has_value()) << Narrow(line);
        EXPECT_EQ(parsed.text, line.substr(kParentLinePrefix.size()));
    }
}

TEST(ParentLine, TheBatchReadsWhatTheConverterWrites) {
    ConverterReport report;
    EXPECT_TRUE(TakeParentLine(ParentLineText(ParentKeyword::MsLen, u"30500"), report));
    EXPECT_TRUE(TakeParentLine(ParentLineText(ParentKeyword::PCDone, u"42 %"), report));
    EXPECT_TRUE(TakeParentLine(ParentLineText(ParentKeyword::Action, u"Encoding 'o.mp3'"), report));
    EXPECT_TRUE(TakeParentLine(ParentLineText(ParentKeyword::ActionInput, u"in.wav"), report));
    EXPECT_TRUE(TakeParentLine(ParentLineText(ParentKeyword::FileName, u"C:\\o\\ä.mp3"), report));
    EXPECT_TRUE(TakeParentLine(u"MSGTO: Vrx: Later: x", report));
    EXPECT_EQ(report.lengthMs, 30500);
    EXPECT_EQ(report.percent, 42);
    EXPECT_EQ(report.action, u"Encoding 'o.mp3'");
    EXPECT_EQ(report.filesWritten, StringList{u"C:\\o\\ä.mp3"});
    EXPECT_TRUE(report.information.empty());
}

TEST(OptionTable, EveryNameIsOneOptionToTheTokeniserWrittenInAnyCase) {
    const auto options = ConverterOptions();
    for (size_t i = 0; i < options.size(); ++i) {
        const String name = WrittenName(options[i]);
        String upper = name;
        for (char16_t& c : upper)
            c = c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 32) : c;
        const OptionStore store = StoreOf(OptionText(upper, u"a -b c") + u" -x");
        ASSERT_EQ(store.Count(), 2u) << Narrow(name);
        EXPECT_EQ(store.Value(name), u"a -b c") << Narrow(name);
        EXPECT_EQ(FindConverterOption(upper), &options[i]) << Narrow(name);
    }
}

TEST(OptionTable, TheEncoderGetsWhatTheTableForwardsAndItsEncodersIgnoreIt) {
    for (const ConverterOption& o : ConverterOptions()) {
        const String used = WrittenName(o, 1), unused = WrittenName(o, 2);
        const OptionStore store = StoreOf(OptionText(used, u"A=b") + OptionText(unused, u"C=d"));
        const String encoderLine = StripWavemillCmds(store, 1);
        const bool reachesEncoder = o.forwarded == Forwarded::Yes;
        EXPECT_EQ(encoderLine.find(OptionText(used, u"A=b")) != String::npos, reachesEncoder)
            << Narrow(encoderLine);
        // The encoders take the host's options out of their own: exactly the forwarded ones.
        EXPECT_EQ(ClassifyHostOption(used) != HostOption::NotOurs, o.forwarded != Forwarded::No)
            << Narrow(used);
        if (o.numbered) {
            EXPECT_EQ(encoderLine, OptionText(unused, u"C=d")) << "beyond the effects used";
            EXPECT_EQ(ClassifyHostOption(unused), HostOption::Effect);
        }
    }
    EXPECT_EQ(StripWavemillCmds(StoreOf(u"-dspeffect -dspeffect01=x -b"), 5),
              u" -dspeffect -dspeffect01=\"x\" -b");
}

TEST(OptionTable, TheConverterReadsTheObjectsAParentNames) {
    const ParentObjectNames names = ParentObjectNamesFor(u"Batch-7-");
    const OptionStore store =
        StoreOf(OptionText(option::kInFile, u"a b.wav") + OptionText(option::kOutFile, u"o.mp3") +
                OptionText(option::kConvertTo, u"MP3") + ParentObjectOptions(names));
    RunOptions read;
    ASSERT_EQ(ReadRunOptions(store, true, read), OptionsVerdict::Convert);
    EXPECT_EQ(read.inputFile, u"a b.wav");
    EXPECT_EQ(read.quitEvent, names.quitEvent);
    EXPECT_EQ(read.afterConvErrorEvent, names.afterConvErrorEvent);
    EXPECT_EQ(read.watchdogEvent, names.watchdogEvent);
    EXPECT_EQ(read.bytesEncodedBlock, names.bytesEncodedBlock);
    const StringList distinct{names.quitEvent, names.afterConvErrorEvent, names.watchdogEvent,
                              names.bytesEncodedBlock};
    for (size_t i = 0; i < distinct.size(); ++i)
        for (size_t j = i + 1; j < distinct.size(); ++j)
            EXPECT_NE(distinct[i], distinct[j]);
    EXPECT_EQ(StripWavemillCmds(store, 0), u"");
}

TEST(CommandFile, TheConverterReadsTheOptionsAParentWrites) {
    const String options = OptionText(option::kInFile, u"C:\\Mü sik\\\U0001D11E.flac") +
                           OptionText(option::kTag, u"title={qt}Ä{qt}") + OptionText(u"V", u"2");
    const std::string bytes = CommandFileBytes(options);
    ASSERT_EQ(bytes.size(), options.size() * 2);
    EXPECT_EQ(bytes[2], '-');
    EXPECT_EQ(bytes[3], '\0');
    const OptionStore read = StoreOf(OptionTextOfCommandFile(bytes.data(), bytes.size()));
    EXPECT_EQ(read.Value(option::kInFile), u"C:\\Mü sik\\\U0001D11E.flac");
    EXPECT_EQ(read.Value(option::kTag), u"title={qt}Ä{qt}");
    EXPECT_EQ(StripWavemillCmds(read, 0), u" -V=\"2\"");
    EXPECT_EQ(StoreOf(CommandFileArgument(u"a b")).Value(option::kCommandFile), u"a b");
}

TEST(OptionTable, TheBatchRefusesExactlyTheOptionsAParentSets) {
    for (const ConverterOption& o : ConverterOptions()) {
        const String name = WrittenName(o);
        BatchOptions parsed;
        String error;
        // "track" is a value every option takes (-replaygain's scope among them).
        const bool ok = ParseBatchArguments(
            {u"-convert_to=FLAC", u"-" + name + u"=track", u"a.wav"},
            [](const String&) { return false; }, parsed, error);
        const bool refused = error.find(u" is set by the batch for each ") != String::npos;
        EXPECT_EQ(refused, o.parentSet) << Narrow(name) << ": " << Narrow(error);
        EXPECT_EQ(ok, !o.parentSet) << Narrow(name) << ": " << Narrow(error);
    }
}

TEST(OptionTable, APlannedJobNamesItsTrack) {
    BatchOptions parsed;
    String error;
    ASSERT_TRUE(ParseBatchArguments(
        {u"-convert_to=FLAC", u"-file=d.cue", u"-as=02.flac", u"-track=2"},
        [](const String&) { return false; }, parsed, error))
        << Narrow(error);
    EXPECT_EQ(parsed.jobTrack, u"2");
    EXPECT_EQ(parsed.passThrough, u"");
}

TEST(OptionHelp, EveryShownOptionInOneRowWithItsMeaning) {
    const std::vector<HelpRow> rows = RowsOf(OptionHelpLines());
    for (const ConverterOption& o : ConverterOptions()) {
        size_t found = 0;
        for (const HelpRow& row : rows)
            if (!o.usage.empty() && row.usage.find(o.usage) != String::npos) {
                ++found;
                EXPECT_EQ(row.meaning, o.help) << Narrow(row.usage);
            }
        EXPECT_EQ(found, o.usage.empty() ? 0u : 1u) << Narrow(o.name);
    }
}
