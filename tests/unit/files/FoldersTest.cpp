#include "files/Folders.h"
#include "files/PathText.h"
#include "tests/unit/files/WorkFolder.h"

#include <gtest/gtest.h>

#include <set>

using namespace wm;

using FoldersTest = wm::test::WorkFolderTest;

TEST_F(FoldersTest, WalkSkipsDotEntriesAndFiltersFolders) {
    FolderWalk walk;
    walk.Start(folder_);
    EXPECT_FALSE(walk.Next()); // only "." and ".."

    ASSERT_TRUE(WriteText(In(u"one.wav"), "1"));
    ASSERT_TRUE(WriteText(In(u"two.mp3"), "2"));
    ASSERT_TRUE(CreateFolderPath(In(u"sub")));
    std::set<String> all, folders, wavs;
    for (walk.Start(folder_); walk.Next();)
        all.insert(walk.Path());
    for (walk.Start(folder_, {}, true); walk.Next();)
        folders.insert(walk.Name());
    for (walk.Start(folder_, u"*.wav"); walk.Next();)
        wavs.insert(walk.Name());
    EXPECT_EQ(all, (std::set<String>{In(u"one.wav"), In(u"two.mp3"), In(u"sub")}));
    EXPECT_EQ(folders, std::set<String>{u"sub"});
    EXPECT_EQ(wavs, std::set<String>{u"one.wav"});
}

TEST_F(FoldersTest, TempFileWithExtensionIsFreshAndNamedBehindTmp) {
    String plain = TempFile(folder_);
    ASSERT_FALSE(plain.empty());
    EXPECT_TRUE(FileExists(plain));
    EXPECT_TRUE(EndsWithNoCase(plain, u".tmp"));
    EXPECT_TRUE(StartsWithNoCase(FileNamePart(plain), u"TMP"));

    String withExt = TempFile(folder_, u".wav");
    ASSERT_FALSE(withExt.empty());
    EXPECT_TRUE(EndsWithNoCase(withExt, u".tmp.wav"));
    EXPECT_TRUE(FileExists(withExt));
    EXPECT_EQ(FileSizeOfPath(withExt), 0u);
    EXPECT_FALSE(FileExists(withExt.substr(0, withExt.size() - 4)));
    EXPECT_NE(withExt.substr(0, withExt.size() - 4), plain);

    String nested = TempFile(In(u"not\\yet"), u".x");
    ASSERT_FALSE(nested.empty());
    EXPECT_TRUE(FileExists(nested));
}

TEST(Folders, SystemFoldersEndInSeparator) {
    EXPECT_EQ(SpecialFolder(kFolderTemp), TempFolder());
    String windows = SpecialFolder(kFolderWindows);
    EXPECT_TRUE(FolderExists(windows));
    EXPECT_EQ(windows.back(), u'\\');
    String programFiles = SpecialFolder(kFolderProgramFilesNative);
    EXPECT_TRUE(FolderExists(programFiles)) << Narrow(programFiles);
    EXPECT_EQ(SpecialFolder(43), EnsureTrailingSeparator(SpecialFolder(43)));
    EXPECT_EQ(SpecialFolder(-5, u"Q:\\Nowhere"), u"Q:\\Nowhere\\");

    String program = ProgramFolder();
    EXPECT_EQ(program.back(), u'\\');
    EXPECT_TRUE(FileExists(program + u"files_tests.exe"));
    EXPECT_EQ(DriveTypeName(u'C'), u"Hard Disk");
}
