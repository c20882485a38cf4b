// Test helper: a fresh folder under the temporary folder, removed with everything in it.
#pragma once

#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/Folders.h"
#include "tests/support/TestFiles.h"

#include <gtest/gtest.h>

#include <string>

namespace wm::test {

class WorkFolderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        folder_ = TempFolder() + UniqueName(u"wmfiles") + u"\\";
        ASSERT_TRUE(CreateFolderPath(folder_));
    }
    void TearDown() override {
        EXPECT_TRUE(RemoveFolder(folder_, true, {}, true));
        EXPECT_FALSE(FolderExists(folder_));
    }
    String In(StringView name) const { return folder_ + String(name); }
    static bool WriteText(StringView path, const std::string& text) {
        FileAccess f;
        return f.Create(path) && f.Write(text.data(), static_cast<uint32_t>(text.size()));
    }
    static std::string ReadText(StringView path) {
        FileAccess f;
        if (!f.OpenRead(path))
            return "<missing>";
        std::string text(static_cast<size_t>(f.Size()), '\0');
        f.Read(text.data(), static_cast<uint32_t>(text.size()));
        return text;
    }

    String folder_;
};

} // namespace wm::test
