// Start-up end to end: usage, option errors, command files and error routing.
#include "tests/e2e/E2eSupport.h"

#include <gtest/gtest.h>

using namespace wm;
using namespace wm::e2e;

namespace {

const std::string kNoDecoder = "Error: Unable to load decoder for file type '.nosuchtype', codec "
                               "not installed? visit 'Kodexa'.  [TwWavemill::TwWavemill]\r\n";

Bytes Utf16Bytes(const String& text) {
    const char* p = reinterpret_cast<const char*>(text.data());
    return Bytes(p, p + text.size() * 2);
}

} // namespace

TEST(StartUp, HelpNothingAndEachMissingOptionFail) {
    // The banner's version is the one the version texts quote ("Wavemill 1.0").
    std::string version = ReadText(StageDir() + u"Versions\\Vrx.txt");
    version = version.substr(9, version.find_first_of("\r\n") - 9);
    ASSERT_FALSE(version.empty());
    for (const char16_t* args :
         {u"-help", u"", u"-infile=a.wav -outfile=b.wav -convert_to=W -help"}) {
        RunResult r = RunWavemill(args);
        EXPECT_EQ(r.exitCode, 1) << Narrow(args);
        EXPECT_EQ(r.out.rfind("\r\nTonewerk Wavemill " + version +
                                  " audio converter, (c) 2021 Brightfold\r\n\r\n"
                                  "Usage: Wavemill.exe -infile=\"filename\" -outfile=\"filename\" "
                                  "-convert_to=\"codec\" [codec compression CLI]\r\n\r\n",
                              0),
                  0u)
            << r.out;
        // The installed encoders, the effects and the input types the installed decoders read.
        EXPECT_TRUE(Contains(r.out, "Encoders (-convert_to=):\r\n")) << r.out;
        EXPECT_TRUE(Contains(r.out, "\r\n  TestEnc\r\n  Vorbis\r\n")) << r.out;
        EXPECT_TRUE(Contains(r.out, "average bit rate instead of a quality\r\n  Wave\r\n"))
            << r.out;
        EXPECT_TRUE(Contains(r.out, "Effects (-dspeffect1=\"Name=settings\"):\r\n  BitDepth\r\n"
                                    "      bits=<b>           16, 24, 32 or float\r\n"))
            << r.out;
        for (const char* effect :
             {"\r\n  Channels\r\n      channels=<1..8> ", "\r\n  Normalize\r\n      peak=<dBFS> ",
              "\r\n  Resample\r\n      rate=<Hz> ", "\r\n  Volume\r\n      gain=<dB> "})
            EXPECT_TRUE(Contains(r.out, effect)) << effect << r.out;
        EXPECT_TRUE(Contains(r.out, "\r\n  *.wav  Wave Audio\r\n")) << r.out;
    }
    const std::pair<const char16_t*, const char*> cases[] = {
        {u"-infile=a.wav -outfile=b.wav", "Error no encoder specified.  [TwWavemill::"},
        {u"-convert_to=Wave -outfile=b.wav", "Error no input file specified  [TwWavemill::"},
        {u"-convert_to=Wave -infile=a.wav", "Error no ouput file specified  [TwWavemill::"},
    };
    for (const auto& [args, message] : cases) {
        RunResult r = RunWavemill(args);
        EXPECT_EQ(r.exitCode, 1) << message;
        EXPECT_TRUE(Contains(r.err, message)) << r.err;
        EXPECT_EQ(r.out, "") << "nothing is converted, so no banner";
    }
}

TEST(CommandFile, ReplacesTheCommandLineAndSendsErrorsAsBareLines) {
    String dir = NewWorkDir("cmdfile");
    String cmd = dir + u"job.twcmd";
    // -help on the real command line would print the usage; the file replaces it whole.
    WriteUtf16(cmd, u"-infile=\"" + dir + u"a.nosuchtype\" -outfile=\"" + dir +
                        u"out put.wav\" -convert_to=\"Wave\"");
    RunResult r = RunWavemill(u"-twcmd=\"" + cmd + u"\" -help");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "") << "parent mode prints no banner and no usage";
    EXPECT_EQ(r.err, kNoDecoder);
}

TEST(CommandFile, MalformedOrUnreadableFilesFailWithoutHanging) {
    String dir = NewWorkDir("badcmd");
    Bytes odd = Utf16Bytes(u"-help");
    odd.push_back('x');
    const std::string missing = "Error missing infile & outfile & convert_to.";
    const std::tuple<const char*, Bytes, std::string> cases[] = {
        {"odd", odd, missing},
        {"nodash", Utf16Bytes(u"infile=a.wav outfile=b.wav"), missing},
        {"unterminated", Utf16Bytes(u"-infile=\"a.wav -outfile=b.wav"),
         "Error no encoder specified."},
        {"empty", {}, "Error reading Tw Command File '"}, // and the message box
        {"missing", {}, "Error reading Tw Command File '"},
    };
    for (const auto& [name, bytes, err] : cases) {
        String path = dir + Widen(name) + u".twcmd";
        if (std::string(name) != "missing")
            WriteBytes(path, bytes.data(), bytes.size());
        RunResult r = RunWavemill(u"-twcmd=\"" + path + u"\"");
        EXPECT_FALSE(r.timedOut) << name;
        EXPECT_EQ(r.exitCode, 1) << name;
        EXPECT_EQ(r.out, "") << name;
        EXPECT_TRUE(Contains(r.err, err)) << name << ": " << r.err;
    }
}

TEST(ErrorRouting, SilentRunsStillFailAndErrorFileTakesTheLines) {
    String dir = NewWorkDir("errors");
    String files =
        u" -infile=\"" + dir + u"a.nosuchtype\" -outfile=\"" + dir + u"b.wav\" -convert_to=Wave";
    RunResult r = RunWavemill(u"-silent" + files);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_TRUE(Contains(r.err, kNoDecoder)) << r.err;
    EXPECT_FALSE(Exists(dir + u"b.wav"));

    // The error file is replaced, not appended to.
    WriteText(dir + u"errors.txt", "an older run's lines");
    r = RunWavemill(u"-errorfile=\"" + dir + u"errors.txt\"" + files);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(Contains(r.out, "Conversion Failed.\r\n")) << r.out;
    EXPECT_EQ(DecodeUtf16(ReadBytes(dir + u"errors.txt")).rfind(kNoDecoder.substr(0, 60), 0), 0u);
}
