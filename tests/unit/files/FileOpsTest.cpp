#include "files/FileOps.h"
#include "process/EventHandle.h"
#include "tests/unit/files/WorkFolder.h"
#include "tests/unit/process/PeerProcess.h"

#include <gtest/gtest.h>

using namespace wm;
using wm::test::PeerProcess;
using wm::test::UniqueName;

using FileOpsTest = wm::test::WorkFolderTest;

TEST_F(FileOpsTest, WorksBeyondThreeHundredCharacters) {
    String deep = folder_;
    for (int i = 0; i < 5; ++i)
        deep += String(60, static_cast<char16_t>(u'a' + i)) + u"\\";
    ASSERT_GT(deep.size(), 300u);
    ASSERT_TRUE(CreateFolderPath(deep));
    String file = deep + u"long.bin", moved = deep + u"moved.bin", copied = deep + u"copy.bin";
    ASSERT_TRUE(WriteText(file, "deep data"));
    ASSERT_TRUE(MovePathEx(file, moved, MOVEFILE_REPLACE_EXISTING));
    EXPECT_FALSE(FileExists(file));
    ASSERT_TRUE(CopyPath(moved, copied, true));
    EXPECT_FALSE(CopyPath(moved, copied, true)); // fails if it exists
    EXPECT_EQ(ReadText(copied), "deep data");
    EXPECT_FALSE(CreateFolderPath(moved + u"\\sub")); // a file in the way
    // The rest goes with the work folder, through the long-path walk.
}

TEST_F(FileOpsTest, DeleteAndRemoveFolderHonourReadOnlyMaskAndRecursion) {
    String file = In(u"ro.txt");
    ASSERT_TRUE(WriteText(file, "r"));
    ASSERT_TRUE(SetPathAttributes(file, FILE_ATTRIBUTE_READONLY));
    EXPECT_FALSE(DeleteFilePath(file, true)); // the retry alone does not clear it
    EXPECT_TRUE(DeleteFilePath(file));
    EXPECT_FALSE(FileExists(file));

    ASSERT_TRUE(CreateFolderPath(In(u"r\\sub")));
    ASSERT_TRUE(WriteText(In(u"r\\x.wav"), "1"));
    ASSERT_TRUE(WriteText(In(u"r\\y.mp3"), "2"));
    EXPECT_TRUE(RemoveFolder(In(u"r"), false, u"*.wav", false));
    EXPECT_EQ(ReadText(In(u"r\\x.wav")) + ReadText(In(u"r\\y.mp3")), "<missing>2");
    EXPECT_FALSE(RemoveFolder(In(u"r"), true)); // the sub-folder is still there
}

namespace {

// Another process holding a file open without sharing, as a player or scanner would.
struct FileHolder {
    String ready = UniqueName("ready"), releasing = UniqueName("releasing"),
           release = UniqueName("release");
    EventHandle readyEvent, releasingEvent, releaseEvent;
    PeerProcess peer;

    bool Start(const String& path, uint32_t holdMs, bool untilReleased) {
        readyEvent.CreateOrOpen(ready);
        releasingEvent.CreateOrOpen(releasing);
        releaseEvent.CreateOrOpen(release);
        String args = u"lockfile \"" + path + u"\" " + ready + u" " + releasing + u" " +
                      Widen(std::to_string(holdMs)) + u" " +
                      (untilReleased ? release : String(u"-"));
        return peer.Start(args) && readyEvent.Wait(30000);
    }
};

} // namespace

TEST_F(FileOpsTest, MoveWithRetryWaitsForOtherProcessToRelease) {
    String source = In(u"new.mp3"), target = In(u"out.mp3");
    ASSERT_TRUE(WriteText(source, "fresh"));
    ASSERT_TRUE(WriteText(target, "stale"));
    FileHolder holder;
    ASSERT_TRUE(holder.Start(target, 500, false));

    EXPECT_TRUE(MoveWithRetry(source, target, MOVEFILE_REPLACE_EXISTING, 20000))
        << ::GetLastError();
    EXPECT_TRUE(holder.releasingEvent.IsSet()); // it did not get through while held
    EXPECT_EQ(ReadText(target), "fresh");
    EXPECT_FALSE(FileExists(source));
    EXPECT_TRUE(holder.peer.Wait(30000));
    EXPECT_EQ(holder.peer.ExitCode(), 0u);
}

TEST_F(FileOpsTest, MoveWithRetryTimesOutOrIsCancelled) {
    String source = In(u"new.mp3"), target = In(u"out.mp3");
    ASSERT_TRUE(WriteText(source, "fresh"));
    ASSERT_TRUE(WriteText(target, "stale"));
    FileHolder holder;
    ASSERT_TRUE(holder.Start(target, 60000, true));

    EXPECT_FALSE(MoveWithRetry(source, target, MOVEFILE_REPLACE_EXISTING, 300));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_TIMEOUT));

    EventHandle quit;
    ASSERT_TRUE(quit.CreateOrOpen(u""));
    quit.Set();
    EXPECT_FALSE(MoveWithRetry(source, target, MOVEFILE_REPLACE_EXISTING, 60000, &quit));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_CANCELLED));
    EXPECT_TRUE(FileExists(source));

    holder.releaseEvent.Set();
    ASSERT_TRUE(holder.peer.Wait(30000));
    EXPECT_TRUE(MoveWithRetry(source, target, MOVEFILE_REPLACE_EXISTING, 300, &quit));
    EXPECT_EQ(ReadText(target), "fresh");
}

TEST_F(FileOpsTest, MoveWithRetryGivesUpAtOnceOnOtherErrors) {
    EXPECT_FALSE(MoveWithRetry(In(u"absent"), In(u"x"), MOVEFILE_REPLACE_EXISTING, 60000));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}
