#include "files/FileOps.h"
#include "files/PathText.h"
#include "files/SystemPath.h"
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
    EXPECT_EQ(ReadText(copied), "deep data");

    // A long relative path cannot take the prefix as it stands: it is made absolute first.
    wchar_t current[MAX_PATH] = {};
    DWORD n = GetCurrentDirectoryW(MAX_PATH, current);
    String here(reinterpret_cast<const char16_t*>(current), n);
    String relative = String(300, u'r') + u"\\x.bin", system;
    ASSERT_TRUE(SystemPathForm(relative, kOpenPathLimit, system));
    EXPECT_EQ(system, u"\\\\?\\" + EnsureTrailingSeparator(here) + relative);
    EXPECT_TRUE(SystemPathForm(u"short\\x.bin", kOpenPathLimit, system));
    EXPECT_EQ(system, u"short\\x.bin");
}

namespace {

// Another process holding a file open without sharing, as a player or scanner would.
struct FileHolder {
    String ready = UniqueName(u"WmTest_ready_"), release = UniqueName(u"WmTest_release_");
    EventHandle readyEvent, releaseEvent;
    PeerProcess peer;

    bool Start(const String& path) {
        readyEvent.CreateOrOpen(ready);
        releaseEvent.CreateOrOpen(release);
        return peer.Start(u"lockfile \"" + path + u"\" " + ready + u" " + release) &&
               readyEvent.Wait(30000);
    }
};

} // namespace

TEST_F(FileOpsTest, MoveWithRetryTimesOutOrIsCancelled) {
    String source = In(u"new.mp3"), target = In(u"out.mp3");
    ASSERT_TRUE(WriteText(source, "fresh"));
    ASSERT_TRUE(WriteText(target, "stale"));
    FileHolder holder;
    ASSERT_TRUE(holder.Start(target));

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
    // Free now: the first try succeeds before the quit event is looked at.
    EXPECT_TRUE(MoveWithRetry(source, target, MOVEFILE_REPLACE_EXISTING, 300, &quit));
    EXPECT_EQ(ReadText(target), "fresh");
}
