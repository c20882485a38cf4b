#include "files/Folders.h"
#include "files/PathText.h"
#include "tests/unit/files/WorkFolder.h"

#include <gtest/gtest.h>

using namespace wm;

using FoldersTest = wm::test::WorkFolderTest;

TEST_F(FoldersTest, TempFileWithExtensionIsFreshAndNamedBehindTmp) {
    String withExt = TempFile(folder_, u".wav");
    ASSERT_TRUE(EndsWithNoCase(withExt, u".tmp.wav"));
    EXPECT_TRUE(StartsWithNoCase(FileNamePart(withExt), u"TMP"));
    EXPECT_TRUE(FileExists(withExt));
    EXPECT_FALSE(FileExists(withExt.substr(0, withExt.size() - 4))); // the .tmp is gone
    EXPECT_TRUE(FileExists(TempFile(In(u"not\\yet"), u".x")));       // folders are made
}
