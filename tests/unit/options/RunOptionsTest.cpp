#include "converter/RunOptions.h"

#include <gtest/gtest.h>

using namespace wm;

namespace {

OptionsVerdict Read(std::u16string_view text, bool parentMode, RunOptions* out = nullptr) {
    OptionStore store;
    store.Fill(text);
    RunOptions scratch;
    return ReadRunOptions(store, parentMode, out ? *out : scratch);
}

} // namespace

TEST(RunOptions, RequiredOptionsInOrder) {
    EXPECT_EQ(Read(u"-infile=a -outfile=b", false), OptionsVerdict::MissingEncoder);
    EXPECT_EQ(Read(u"-convert_to=Wave -outfile=b", false), OptionsVerdict::MissingInput);
    EXPECT_EQ(Read(u"-convert_to=Wave -infile=a -outfile=", false), OptionsVerdict::MissingOutput);
    EXPECT_EQ(Read(u"", false), OptionsVerdict::ShowUsage);
    EXPECT_EQ(Read(u"-silent", true), OptionsVerdict::MissingAll);
    // "help" never converts, even with everything given.
    EXPECT_EQ(Read(u"-convert_to=W -infile=a -outfile=b -help", false), OptionsVerdict::ShowUsage);
    EXPECT_EQ(VerdictText(OptionsVerdict::MissingOutput), u"Error no ouput file specified");
}

TEST(RunOptions, ValuesAndFlags) {
    RunOptions o;
    ASSERT_EQ(Read(u"-convert_to=W -infile=\"-\" -outfile=o.wav -noidtag -batchid=42 "
                   u"-tmpfolder=C:\\t -fntousefortagloaddec=x.mp3",
                   true, &o),
              OptionsVerdict::Convert);
    EXPECT_TRUE(o.standardInput);
    EXPECT_FALSE(o.writeTags);
    EXPECT_TRUE(o.silent); // parent mode is always silent
    EXPECT_EQ(o.batchId, 42u);
    EXPECT_EQ(o.tempFolder, u"C:\\t\\");
    EXPECT_EQ(o.tagSourceFile, u"x.mp3");
    ASSERT_EQ(Read(u"-convert_to=W -infile=a -outfile=o.wav", false, &o), OptionsVerdict::Convert);
    EXPECT_EQ(o.tagSourceFile, u"o.wav");
    EXPECT_FALSE(o.silent);
}

TEST(RunOptions, TrackIsANumberFrom0To99) {
    RunOptions o;
    ASSERT_EQ(Read(u"-convert_to=W -infile=d.cue -outfile=o.wav -track=07", false, &o),
              OptionsVerdict::Convert);
    EXPECT_TRUE(o.hasTrack && o.trackValid);
    EXPECT_EQ(o.track, 7u);
    Read(u"-convert_to=W -infile=d.cue -outfile=o.wav -track=0", false, &o);
    EXPECT_TRUE(o.trackValid);
    EXPECT_EQ(o.track, 0u);
    for (const char16_t* bad : {u"-track=100", u"-track=x1", u"-track=", u"-track=-1"}) {
        Read(u"-convert_to=W -infile=d.cue -outfile=o.wav " + std::u16string(bad), false, &o);
        EXPECT_TRUE(o.hasTrack);
        EXPECT_FALSE(o.trackValid);
    }
    Read(u"-convert_to=W -infile=d.cue -outfile=o.wav", false, &o);
    EXPECT_FALSE(o.hasTrack);
}

TEST(RunOptions, DspEffectsStopAtTheFirstGap) {
    OptionStore store;
    store.Fill(u"-dspeffect1=\"Volume={qt}+3{qt}\" -dspeffect2=\"noequals\" "
               u"-dspeffect3=\"Resample=rate=48000\" -dspeffect5=\"Late=x\"");
    auto dsps = ReadDspRequests(store);
    ASSERT_EQ(dsps.size(), 2u);
    EXPECT_EQ(dsps[0].name, u"Volume");
    EXPECT_EQ(dsps[0].settings, u"\"+3\"");
    EXPECT_EQ(dsps[1].name, u"Resample");
    EXPECT_EQ(dsps[1].settings, u"rate=48000"); // only the first "=" splits
}

TEST(RunOptions, ProcessorMask) {
    EXPECT_EQ(ProcessorMask(3), 4u);
    EXPECT_EQ(ProcessorMask(0), 1u);
    EXPECT_EQ(ProcessorMask(64), uint64_t(1) << 63);
    EXPECT_EQ(ProcessorMask(65), 0u);
}
