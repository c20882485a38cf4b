// A sheet's bytes to text: the encodings ripping programs wrote are told apart, and binary data
// is refused with its line.
#include "bundled/cue/CueCodePages.h"

#include <gtest/gtest.h>

namespace wm::cue {
namespace {

struct Sample {
    std::string bytes;
    CueEncoding encoding;
    String text;
};

TEST(CueText, DetectsAndDecodesEachEncoding) {
    const Sample samples[] = {
        {"TITLE \"Caf\xC3\xA9\"", CueEncoding::kUtf8, u"TITLE \"Café\""},
        {"\xEF\xBB\xBFTITLE \"\xD0\x94\xD0\xB0\"", CueEncoding::kUtf8, u"TITLE \"Да\""},
        {std::string("\xFF\xFET\0I\0", 6), CueEncoding::kUtf16Le, u"TI"},
        {std::string("\xFE\xFF\0T\0I", 6), CueEncoding::kUtf16Be, u"TI"},
        // "Группа крови" in Windows-1251.
        {"TITLE \"\xC3\xF0\xF3\xEF\xEF\xE0 \xEA\xF0\xEE\xE2\xE8\"", CueEncoding::kWindows1251,
         u"TITLE \"Группа крови\""},
        // "東京のひかり" in Shift-JIS.
        {"TITLE \"\x93\x8C\x8B\x9E\x82\xCC\x82\xD0\x82\xA9\x82\xE8\"", CueEncoding::kShiftJis,
         u"TITLE \"東京のひかり\""},
        // "Café Müller" in Windows-1252.
        {"TITLE \"Caf\xE9 M\xFCller\"", CueEncoding::kWindows1252, u"TITLE \"Café Müller\""},
    };
    for (const Sample& s : samples) {
        String text;
        CueEncoding encoding{};
        CueError error;
        ASSERT_TRUE(DecodeCueBytes(s.bytes, DecodeCodePage, text, encoding, error))
            << s.bytes << ": " << Narrow(error.reason);
        EXPECT_EQ(encoding, s.encoding) << s.bytes << " read as " << Narrow(EncodingName(encoding));
        EXPECT_EQ(text, s.text) << s.bytes;
    }
}

TEST(CueText, RefusesBinaryDataAndBrokenUtf8) {
    String text;
    CueEncoding encoding{};
    CueError error;
    const std::string junk("FILE a.wav WAVE\r\nTRACK 01 AUDIO\r\n\x01\x02\0\x7F\x80", 37);
    EXPECT_FALSE(DecodeCueBytes(junk, DecodeCodePage, text, encoding, error));
    EXPECT_EQ(error.line, 3u);
    EXPECT_EQ(Narrow(error.reason), "binary data, not text");

    EXPECT_FALSE(DecodeCueBytes("\xEF\xBB\xBFTITLE \xE9", DecodeCodePage, text, encoding, error));
    EXPECT_EQ(Narrow(error.reason), "the text after its UTF-8 byte-order mark is not UTF-8");
}

} // namespace
} // namespace wm::cue
