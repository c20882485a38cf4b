// The file-type filter text: grouping and ordering of the decoders' descriptions.
#include "plugins/DecoderFilter.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

TEST(DecoderFilter, GroupsEqualDescriptionsSortedWithoutCase) {
    const StringList extensions{u".mp3", u".flac", u".ogg", u".fla", u".flc"};
    const StringList descriptions{u"MPEG Audio", u"Lossless Audio", u"ogg vorbis",
                                  u"Lossless Audio", u"lossless audio"};
    EXPECT_EQ(BuildDecoderFilter(false, extensions, descriptions),
              u"Lossless Audio  (*.flac; *.fla)\r*.flac;*.fla\r"
              u"lossless audio  (*.flc)\r*.flc\r"
              u"MPEG Audio  (*.mp3)\r*.mp3\r"
              u"ogg vorbis  (*.ogg)\r*.ogg\r");
    // The all-files entry keeps the decoders' own order.
    EXPECT_EQ(BuildDecoderFilter(true, extensions, descriptions).substr(0, 47),
              u"All Audio Files\r*.mp3;*.flac;*.ogg;*.fla;*.flc\r");
}

} // namespace
} // namespace wm
