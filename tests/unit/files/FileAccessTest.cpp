#include "files/FileAccess.h"
#include "files/PathText.h"
#include "tests/unit/files/WorkFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

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
    EXPECT_EQ(f.Read(buffer, 4, FileAccess::kFromStart, &failed), 4u);
    EXPECT_EQ(std::string(buffer, 4), "0123");
}

TEST_F(FileAccessTest, WriteOriginsAppendAndRewind) {
    FileAccess f;
    ASSERT_TRUE(f.Create(In(u"w.bin")));
    EXPECT_TRUE(f.Write(nullptr, 0));
    EXPECT_FALSE(f.Write(nullptr, 3));
    ASSERT_TRUE(f.Write("abc", 3));
    ASSERT_TRUE(f.Write("XY", 2, FileAccess::kFromStart));
    ASSERT_TRUE(f.Write("!", 1, FileAccess::kAtEnd));
    f.Close();
    EXPECT_EQ(ReadText(In(u"w.bin")), "XYc!");
}

TEST_F(FileAccessTest, SetSizeGrowsWithZerosAndCuts) {
    FileAccess f;
    ASSERT_TRUE(f.Create(In(u"s.bin")));
    ASSERT_TRUE(f.Write("abc", 3));
    ASSERT_TRUE(f.SetSize(70000)); // more than one zero chunk
    EXPECT_EQ(f.Size(), 70000u);
    std::vector<char> all(70000, 'q');
    ASSERT_EQ(f.Read(all.data(), 70000, FileAccess::kFromStart), 70000u);
    EXPECT_EQ(std::string(all.data(), 3), "abc");
    EXPECT_EQ(std::count(all.begin() + 3, all.end(), '\0'), 69997);
    ASSERT_TRUE(f.SetSize(2));
    EXPECT_EQ(f.Size(), 2u);
    ASSERT_TRUE(f.Seek(1, FileAccess::kFromStart));
    ASSERT_TRUE(f.Truncate());
    EXPECT_EQ(f.Size(), 1u);
}

TEST_F(FileAccessTest, FailedOpenWithReportErrorsDoesNotRetryForever) {
    // No display: the Retry/Cancel box cannot be answered and counts as Cancel.
    FileAccess f;
    EXPECT_FALSE(f.Open(In(u"missing.bin"), GENERIC_READ, OPEN_EXISTING, true));
    EXPECT_FALSE(f.IsOpen());
    EXPECT_EQ(f.Handle(), INVALID_HANDLE_VALUE);
    bool failed = false;
    EXPECT_EQ(f.Size(&failed), 0u);
    EXPECT_TRUE(failed);
}

TEST_F(FileAccessTest, SafeRewriteReplacesTargetOnCommit) {
    String target = In(u"song.mp3");
    ASSERT_TRUE(WriteText(target, "old"));
    FileAccess f;
    ASSERT_TRUE(f.OpenSafeRewrite(target));
    EXPECT_EQ(f.Path(), RewriteTempName(target, ::GetCurrentProcessId(), 0));
    EXPECT_EQ(f.RewriteTarget(), target);
    ASSERT_TRUE(f.Write("new!", 4));
    EXPECT_EQ(ReadText(target), "old");
    ASSERT_TRUE(f.CommitRewrite());
    EXPECT_EQ(ReadText(target), "new!");
    EXPECT_FALSE(FileExists(f.Path()));
}

TEST_F(FileAccessTest, SafeRewriteTakesNextFreeNameAndFailsWhenAllTaken) {
    String target = In(u"t.wav");
    DWORD pid = ::GetCurrentProcessId();
    for (int n = 0; n < 100; ++n)
        ASSERT_TRUE(WriteText(RewriteTempName(target, pid, n), "busy"));
    FileAccess f;
    EXPECT_FALSE(f.OpenSafeRewrite(target));
    EXPECT_FALSE(f.IsOpen());
    f.Close(); // a failed rewrite must not delete a name that belongs to someone else

    ASSERT_TRUE(DeleteFilePath(RewriteTempName(target, pid, 57)));
    {
        FileAccess g;
        ASSERT_TRUE(g.OpenSafeRewrite(target));
        EXPECT_EQ(g.Path(), RewriteTempName(target, pid, 57));
        // Never committed: the temporary file goes, no target appears.
    }
    EXPECT_FALSE(FileExists(RewriteTempName(target, pid, 57)));
    EXPECT_FALSE(FileExists(target));
    EXPECT_EQ(ReadText(RewriteTempName(target, pid, 99)), "busy");

    ASSERT_TRUE(WriteText(In(u"keep.tmp"), "k"));
    EXPECT_TRUE(CleanupRewriteLeftovers(folder_));
    EXPECT_FALSE(FileExists(RewriteTempName(target, pid, 0)));
    EXPECT_FALSE(FileExists(RewriteTempName(target, pid, 99)));
    EXPECT_TRUE(FileExists(In(u"keep.tmp")));
}
