#include "crash/CrashDumpName.h"
#include "crash/MiniDumpMemory.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

using namespace wm;

TEST(CrashDumpName, FirstFreeSuffixAfterLeftovers) {
    std::set<String> taken;
    auto exists = [&](const String& p) { return taken.count(p) > 0; };
    EXPECT_EQ(FreeCrashDumpPath(u"C:\\c\\", 4711, exists), u"C:\\c\\crash-4711.dmp");
    taken = {u"C:\\c\\crash-4711.dmp", u"C:\\c\\crash-4711-1.dmp", u"C:\\c\\crash-4712.dmp"};
    EXPECT_EQ(FreeCrashDumpPath(u"C:\\c\\", 4711, exists), u"C:\\c\\crash-4711-2.dmp");
    EXPECT_EQ(FreeCrashDumpPath(u"C:\\c\\", 4711, [](const String&) { return true; }), u"");
}

TEST(CrashDumpName, ValueCountsOnlyByItsFileName) {
    const String folder = u"C:\\crashes\\";
    EXPECT_EQ(CrashDumpOfValue(folder, u"crash-9.dmp"), u"C:\\crashes\\crash-9.dmp");
    EXPECT_EQ(CrashDumpOfValue(folder, u"D:\\elsewhere\\crash-9.dmp"), u"C:\\crashes\\crash-9.dmp");
    EXPECT_EQ(CrashDumpOfValue(folder, u"..\\..\\x/../crash-9.dmp"), u"C:\\crashes\\crash-9.dmp");
    for (const char16_t* none : {u"", u"C:\\dir\\", u"..", u"a\\.", u"."})
        EXPECT_EQ(CrashDumpOfValue(folder, none), u"") << Narrow(none);
}

namespace {

// A fake address space: the words of fakeStack, and one readable heap word at kHeap.
constexpr uint64_t kStackBase = 0x10000, kHeap = 0x7f0000, kUnmapped = 0x900000;
std::vector<uint64_t> fakeStack;

bool ReadFake(uint64_t address, uint64_t* word) {
    if (address == kHeap) {
        *word = 0;
        return true;
    }
    if (address < kStackBase || address >= kStackBase + fakeStack.size() * 8)
        return false;
    const uint64_t offset = address - kStackBase;
    // The scan also reads at 4-byte offsets: an unaligned word straddles two stack words.
    const uint64_t low = fakeStack[offset / 8],
                   high = offset / 8 + 1 < fakeStack.size() ? fakeStack[offset / 8 + 1] : 0;
    *word = offset % 8 ? (low >> 32) | (high << 32) : low;
    return true;
}

} // namespace

TEST(MemoryScan, RegistersInOrderThenStackWordsThatPointToMemory) {
    CONTEXT context{};
    DWORD64* registers[] = {&context.Rax, &context.Rbx, &context.Rcx, &context.Rdx,
                            &context.Rsi, &context.Rdi, &context.Rsp, &context.Rbp,
                            &context.R8,  &context.R9,  &context.R10, &context.R11,
                            &context.R12, &context.R13, &context.R14, &context.R15};
    for (size_t i = 0; i < 16; ++i)
        *registers[i] = 0x100000 * (i + 1);
    context.Rax = 100;            // below 512: the range starts at the address itself
    context.Rsp = kStackBase + 3; // rounded down to a word
    fakeStack.assign(200, 0);
    fakeStack[0] = 12;        // a small number, not an address
    fakeStack[1] = kHeap;     // added
    fakeStack[2] = kUnmapped; // not readable
    fakeStack[128] = kHeap;   // byte 1024 from the top: the last word scanned
    fakeStack[129] = kHeap;   // beyond the scan

    MemoryScan scan(context, &ReadFake);
    std::vector<MemoryRange> ranges;
    MemoryRange r;
    while (scan.Next(&r) && ranges.size() < 100)
        ranges.push_back(r);
    ASSERT_EQ(ranges.size(), 18u);
    EXPECT_EQ(ranges[0].base, 100u);
    for (size_t i = 1; i < 16; ++i)
        EXPECT_EQ(ranges[i].base, *registers[i] - 512) << i;
    for (const MemoryRange& each : ranges)
        EXPECT_EQ(each.size, 1024u);
    EXPECT_EQ(ranges[16].base, kHeap - 512);
    EXPECT_EQ(ranges[17].base, kHeap - 512);
}

TEST(MemoryScan, UnreadableStackEndsTheScan) {
    CONTEXT context{};
    context.Rsp = kUnmapped;
    MemoryScan scan(context, &ReadFake);
    MemoryRange r;
    for (int i = 0; i < 16; ++i)
        ASSERT_TRUE(scan.Next(&r));
    EXPECT_FALSE(scan.Next(&r));
}
