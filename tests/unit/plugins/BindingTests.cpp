// The bindings over real libraries: entry-point resolution, the load rule and the guard that
// keeps calls away from a missing instance.
#include "PluginTestFolder.h"

#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace wm {
namespace {

using test::StagedPlugin;

const String kTestDecoder = StagedPlugin(u"decoder", u"TestDecoder.dll");
const String kNoDeleteATag = StagedPlugin(u"decoder", u"NoDeleteATag.dll");
const String kNoRemoveConfig = StagedPlugin(u"encoder", u"NoRemoveConfig.dll");

TEST(PluginBinding, OneMissingExportLeavesTheLibraryLoadedButNotOk) {
    clTwDecoder decoder;
    EXPECT_FALSE(decoder.Load(kNoDeleteATag));
    EXPECT_TRUE(decoder.IsLoaded());
    EXPECT_FALSE(decoder.LoadedOk());
    EXPECT_EQ(decoder.Entries().deleteATag, nullptr);
    EXPECT_NE(decoder.Entries().setPosition, nullptr);

    // The encoder's missing name sits mid-table: the names after it must still resolve.
    clTwEncoder encoder;
    EXPECT_FALSE(encoder.Load(kNoRemoveConfig));
    EXPECT_EQ(encoder.Entries().removeConfigBit, nullptr);
    EXPECT_NE(encoder.Entries().showConfigBit, nullptr);
    EXPECT_NE(encoder.Entries().encodeBlock, nullptr);
}

TEST(PluginBinding, SecondLoadKeepsTheFirstLibrary) {
    clTwDecoder decoder;
    ASSERT_TRUE(decoder.Load(kTestDecoder));
    const HMODULE first = decoder.Module();
    EXPECT_TRUE(decoder.Load(kNoDeleteATag));
    EXPECT_EQ(decoder.Module(), first);
    EXPECT_TRUE(decoder.LoadedOk());
}

TEST(PluginBinding, CallsWithoutAnInstanceReturnZero) {
    clTwDecoder decoder;
    ASSERT_TRUE(decoder.Load(kTestDecoder));
    PluginValue value{};
    DecodeOpenInfo open{};
    AudioBlockInfo block{};
    ConversionInfo conversion{};
    auto allZero = [&] {
        return decoder.Get(WM_VALUE_DECODES, &value) == 0 &&
               decoder.Set(WM_VALUE_BATCH_ID, &value) == 0 && decoder.Open(&open) == 0 &&
               decoder.Close(&conversion) == 0 && decoder.DecodeBlock(&block) == 0 &&
               decoder.SetPosition(5) == 0 && decoder.DeleteATag(nullptr, nullptr) == 0;
    };
    EXPECT_TRUE(allZero());
    ASSERT_TRUE(decoder.CreateInstance(nullptr));
    // The test decoder answers these two with 1, so the zeros above came from the guard.
    EXPECT_EQ(decoder.SetPosition(5), 1u);
    EXPECT_EQ(decoder.DeleteATag(nullptr, nullptr), 1u);
    decoder.DestroyInstance();
    EXPECT_TRUE(allZero());
}

} // namespace
} // namespace wm
