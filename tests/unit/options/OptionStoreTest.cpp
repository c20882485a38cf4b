#include "converter/CommandFileText.h"
#include "converter/CommandLineText.h"

#include <gtest/gtest.h>

using namespace wm;

namespace {

std::string Dump(const OptionStore& s) {
    std::string out;
    for (size_t i = 0; i < s.Count(); ++i)
        out += "[" + Narrow(s.NameAt(i)) + "=" + Narrow(s.ValueAt(i)) + "]";
    return out;
}

std::string Tokenise(std::u16string_view text) {
    OptionStore s;
    s.Fill(text);
    return Dump(s);
}

} // namespace

TEST(Tokeniser, QuotedPathsSpacesAndTrailingValue) {
    OptionStore s;
    s.Fill(u"-infile=\"C:\\My Music\\a b.wav\" -outfile=C:\\out.mp3 -convert_to=\"MP3\" -b 320");
    EXPECT_EQ(Dump(s),
              "[infile=C:\\My Music\\a b.wav][outfile=C:\\out.mp3][convert_to=MP3][b=320]");
    EXPECT_EQ(StripWavemillCmds(s, 0), u" -b=\"320\"");
}

TEST(Tokeniser, ValueRules) {
    EXPECT_EQ(Tokenise(u"-silent -infile=x"), "[silent=][infile=x]");
    // An unterminated quote gives an empty value and scanning resumes inside it.
    EXPECT_EQ(Tokenise(u"-a=\"open -b=2"), "[a=][b=2]");
    // Leading text, empty names and byte-order marks are skipped.
    EXPECT_EQ(Tokenise(u"\xFEFFjunk - -x=1"), "[x=1]");
}

TEST(StripWavemillCmds, KeepsOnlyEncoderOptions) {
    OptionStore s;
    s.Fill(u"-infile=a -outfile=b -convert_to=c -silent -priority=low -sourceisfloat -help "
           u"-dspeffect1=\"Volume={qt}+3{qt}\" -dspeffect3=\"Eq=x\" -V 2 -Processor=3");
    EXPECT_EQ(StripWavemillCmds(s, 1), u" -sourceisfloat -help -dspeffect3=\"Eq=x\" -V=\"2\"");
}

TEST(CommandLineSplit, BothQuotingShapesGiveTheSameOptions) {
    // As a person types it in a console, and as standard argument quoting wraps it.
    const char16_t* typed = u"\"C:\\Program Files\\Wavemill.exe\" -infile=\"a b.wav\" "
                            u"-tmpfolder=\"C:\\my tmp\\\" -b 320";
    const char16_t* wrapped =
        u"\"Z:\\w\\Wavemill.exe\" \"-infile=a b.wav\" \"-tmpfolder=C:\\my tmp\\\\\" -b 320";
    std::string expect = "[infile=a b.wav][tmpfolder=C:\\my tmp\\][b=320]";
    EXPECT_EQ(Tokenise(OptionTextOfCommandLine(typed)), expect);
    EXPECT_EQ(Tokenise(OptionTextOfCommandLine(wrapped)), expect);
    // Standard input as a shell passes it; the tokeniser alone reads "-" as no value.
    EXPECT_EQ(Tokenise(OptionTextOfCommandLine(u"w.exe -infile=- -outfile=x")),
              "[infile=-][outfile=x]");
    EXPECT_EQ(Tokenise(u"-infile=- -outfile=x"), "[infile=][outfile=x]");
}

TEST(CommandLineSplit, QuotedValuesThatStartWithADashStayValues) {
    // Exactly as a Windows parent writes them: "-" is standard input, "-3 dB" a value.
    EXPECT_EQ(Tokenise(OptionTextOfCommandLine(u"w.exe -infile \"-\" -outfile=o.wav")),
              "[infile=-][outfile=o.wav]");
    EXPECT_EQ(Tokenise(OptionTextOfCommandLine(u"w.exe -gain \"-3 dB\" -x=1")),
              "[gain=-3 dB][x=1]");
    // Whole-option quoting still applies, with one or two dashes.
    EXPECT_EQ(Tokenise(OptionTextOfCommandLine(u"w.exe \"--infile=a b\" \"-q=-1\"")),
              "[infile=a b][q=-1]");
}

TEST(Tokeniser, NamesIntroducedByTwoDashes) {
    EXPECT_EQ(Tokenise(u"--infile=a --silent -b 3"), "[infile=a][silent=][b=3]");
    EXPECT_EQ(Tokenise(u"--- -x"), "[-=][x=]");
}

TEST(CommandFileText, BytesAreUtf16LittleEndian) {
    // A byte-order mark, "-a=" and U+0100, then an odd byte that is not a whole unit.
    const unsigned char bytes[] = {0xFF, 0xFE, '-', 0, 'a', 0, '=', 0, 0x00, 0x01, 0x41};
    EXPECT_EQ(OptionTextOfCommandFile(bytes, sizeof bytes), u"\xFEFF-a=\x0100");
    EXPECT_EQ(Tokenise(OptionTextOfCommandFile(bytes, sizeof bytes)), "[a=\xC4\x80]");
    EXPECT_EQ(OptionTextOfCommandFile(bytes, 1), u"");
}

TEST(Tokeniser, AMissClearsTheValue) {
    OptionStore s;
    s.Fill(u"-a=1");
    String v = u"old";
    EXPECT_FALSE(s.Find(u"b", &v));
    EXPECT_TRUE(v.empty());
}
