// Start-up end to end: usage, option errors, command files, error routing, debug mode.
#include "tests/e2e/E2eSupport.h"

#include "process/WinString.h"

#include <gtest/gtest.h>
#include <windows.h>

using namespace wm;
using namespace wm::e2e;

namespace {

const std::string kBanner = "\r\nTonewerk Wavemill audio converter, (c) 2021 Brightfold\r\n\r\n";
const std::string kUsage = "Usage: Wavemill.exe -infile=\"filename\" -outfile=\"filename\" "
                           "-convert_to=\"codec\" [codec compression CLI]\r\n";

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

} // namespace

TEST(StartUp, HelpAndNothingPrintUsageAndFail) {
    for (const char16_t* args :
         {u"-help", u"", u"-infile=a.wav -outfile=b.wav -convert_to=Wave -help"}) {
        RunResult r = RunWavemill(args);
        EXPECT_EQ(r.exitCode, 1) << Narrow(args);
        EXPECT_EQ(r.out, kBanner + kUsage) << Narrow(args);
    }
}

TEST(StartUp, EachMissingOptionHasItsMessage) {
    struct Case {
        const char16_t* args;
        const char* message;
    } cases[] = {
        {u"-infile=a.wav -outfile=b.wav",
         "Error no encoder specified.  [TwWavemill::ParseCommandLine]"},
        {u"-convert_to=Wave -outfile=b.wav",
         "Error no input file specified  [TwWavemill::ParseCommandLine]"},
        {u"-convert_to=Wave -infile=a.wav",
         "Error no ouput file specified  [TwWavemill::ParseCommandLine]"},
        {u"-convert_to=Wave -infile=a.wav -outfile=", "Error no ouput file specified"},
    };
    for (const Case& c : cases) {
        RunResult r = RunWavemill(c.args);
        EXPECT_EQ(r.exitCode, 1) << c.message;
        EXPECT_TRUE(Contains(r.err, c.message)) << r.err;
        EXPECT_EQ(r.out, "") << "nothing is converted, so no banner";
    }
}

TEST(CommandFile, ReplacesTheCommandLineAndSpeaksParentLinesOnly) {
    String dir = NewWorkDir("cmdfile");
    String cmd = dir + u"job.twcmd";
    // -help on the real command line would print the usage; the file replaces it whole.
    WriteUtf16(cmd, u"-infile=\"" + dir + u"in put.wav\" -outfile=\"" + dir +
                        u"out.wav\" -convert_to=\"NoSuchCodec\"");
    RunResult r = RunWavemill(u"-twcmd=\"" + cmd + u"\" -help");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "") << "parent mode prints no banner and no usage";
    EXPECT_TRUE(Contains(r.err, "Error: Unable to load encoder 'NoSuchCodec'.")) << r.err;
}

TEST(CommandFile, MalformedFilesFailCleanly) {
    String dir = NewWorkDir("badcmd");
    struct Case {
        const char* name;
        std::vector<char> bytes;
        const char* err; // expected error line, or "" when only the message box reports it
    };
    String help = u"-help";
    std::vector<char> odd(reinterpret_cast<const char*>(help.data()),
                          reinterpret_cast<const char*>(help.data()) + help.size() * 2);
    odd.push_back('x');
    String noDash = u"infile=a.wav outfile=b.wav";
    String open = u"-infile=\"a.wav -outfile=b.wav";
    Case cases[] = {
        {"odd", odd, "Error missing infile & outfile & convert_to."},
        {"nodash",
         std::vector<char>(reinterpret_cast<const char*>(noDash.data()),
                           reinterpret_cast<const char*>(noDash.data()) + noDash.size() * 2),
         "Error missing infile & outfile & convert_to."},
        {"unterminated",
         std::vector<char>(reinterpret_cast<const char*>(open.data()),
                           reinterpret_cast<const char*>(open.data()) + open.size() * 2),
         "Error no encoder specified."},
        {"empty", {}, ""},
    };
    for (const Case& c : cases) {
        String path = dir + Widen(c.name) + u".twcmd";
        WriteBytes(path, c.bytes.data(), c.bytes.size());
        RunResult r = RunWavemill(u"-twcmd=\"" + path + u"\"");
        EXPECT_FALSE(r.timedOut) << c.name;
        EXPECT_EQ(r.exitCode, 1) << c.name;
        EXPECT_EQ(r.out, "") << c.name;
        if (*c.err)
            EXPECT_TRUE(Contains(r.err, c.err)) << c.name << ": " << r.err;
        else
            EXPECT_EQ(r.err, "") << c.name;
    }
    // A command file that cannot be opened: only the message box speaks, and it must not block.
    RunResult r = RunWavemill(u"-twcmd=\"" + dir + u"missing.twcmd\"");
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(r.exitCode, 1);
}

TEST(ErrorRouting, SilentRunsStillFailAndErrorFileTakesTheLines) {
    String dir = NewWorkDir("errors");
    RunResult r = RunWavemill(u"-silent -infile=\"" + dir + u"a.nosuchtype\" -outfile=\"" + dir +
                              u"b.wav\" -convert_to=Wave");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_TRUE(Contains(r.err, "Error: Unable to load decoder for file type '.nosuchtype', "
                                "codec not installed? visit 'Kodexa'.  [TwWavemill::TwWavemill]"))
        << r.err;
    EXPECT_FALSE(Exists(dir + u"b.wav"));

    String errorFile = dir + u"errors.txt";
    r = RunWavemill(u"-errorfile=\"" + errorFile + u"\" -infile=\"" + dir +
                    u"a.nosuchtype\" -outfile=\"" + dir + u"b.wav\" -convert_to=Wave");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(Contains(r.out, "Conversion Failed.\r\n")) << r.out;
    std::string logged = DecodeUtf16(ReadBytes(errorFile));
    EXPECT_TRUE(Contains(logged, "Error: Unable to load decoder for file type '.nosuchtype'"))
        << logged;
}

TEST(ErrorRouting, ParentModeSendsErrorsAsBareLines) {
    String dir = NewWorkDir("parenterr");
    String cmd = dir + u"job.twcmd";
    WriteUtf16(cmd, u"-infile=\"" + dir + u"a.nosuchtype\" -outfile=\"" + dir +
                        u"b.wav\" -convert_to=Wave");
    RunResult r = RunWavemill(u"-twcmd=\"" + cmd + u"\"");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "Error: Unable to load decoder for file type '.nosuchtype', codec not "
                     "installed? visit 'Kodexa'.  [TwWavemill::TwWavemill]\r\n");
}
