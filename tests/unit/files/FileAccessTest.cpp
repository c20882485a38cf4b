#include "files/FileAccess.h"
#include "files/PathText.h"
#include "tests/unit/files/WorkFolder.h"

#include <gtest/gtest.h>

using namespace wm;

using FileAccessTest = wm::test::WorkFolderTest;

TEST_F(FileAccessTest, ReadAtEndGivesShortCountWithoutFailure) {
    ASSERT_TRUE(WriteText(In(u"ten.bin"), "0123456789"));
    FileAccess f;
    ASSERT_TRUE(f.Open(In(u"ten.bin"), GENERIC_READ, OPEN_EXISTING, true));
    char buffer[100] = {};
    bool failed = true;
    EXPECT_EQ(f.Read(buffer, 100, FileAccess::kNoSeek, &failed), 10u);
    EXPECT_FALSE(failed);
    EXPECT_EQ(f.Read(buffer, 100, FileAccess::kNoSeek, &failed), 0u);
    EXPECT_FALSE(failed);
}

TEST_F(FileAccessTest, SafeRewriteTakesAFreeNameAndReplacesTargetOnCommit) {
    String target = In(u"t.wav");
    ASSERT_TRUE(WriteText(target, "old"));
    DWORD pid = ::GetCurrentProcessId();
    for (int n = 0; n < 100; ++n)
        ASSERT_TRUE(WriteText(RewriteTempName(target, pid, n), "busy"));
    FileAccess f;
    EXPECT_FALSE(f.OpenSafeRewrite(target));
    f.Close(); // a failed rewrite must not delete a name that belongs to someone else
    EXPECT_EQ(ReadText(RewriteTempName(target, pid, 99)), "busy");

    ASSERT_TRUE(DeleteFilePath(RewriteTempName(target, pid, 57)));
    FileAccess h;
    ASSERT_TRUE(h.OpenSafeRewrite(target));
    EXPECT_EQ(h.Path(), RewriteTempName(target, pid, 57));
    ASSERT_TRUE(h.Write("new!", 4));
    EXPECT_EQ(ReadText(target), "old");
    ASSERT_TRUE(h.CommitRewrite());
    EXPECT_EQ(ReadText(target), "new!");
    EXPECT_FALSE(FileExists(RewriteTempName(target, pid, 57)));
}
