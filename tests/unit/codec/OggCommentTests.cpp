// The comments of Ogg files: base64 pictures, R128 gains for Opus, and the Vorbis channel order.
#include "bundled/codec/ChannelOrder.h"
#include "bundled/codec/OggComments.h"
#include "bundled/codec/PictureBlock.h"
#include "bundled/wav/WaveFormatRules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

using namespace wm;
using codec::OggCodec;

namespace {

std::string Value(const wav::WaveTags& tags, const char16_t* name) {
    const wav::TextTag* t = tags.Find(name);
    return t ? Narrow(t->value) : "<none>";
}

wav::Picture Sleeve() {
    wav::Picture p;
    p.type = 4;
    p.description = u"Sléeve";
    p.data = {0xFF, 0xD8, 0xFF, 0xE0, 0, 1, 2, 0xFF, 0xD9};
    return p;
}

} // namespace

TEST(PictureBlock, Base64KnownValuesAndRefusals) {
    const auto encode = [](std::string_view s) {
        return codec::Base64Encode(reinterpret_cast<const uint8_t*>(s.data()), s.size());
    };
    EXPECT_EQ(encode(""), "");
    EXPECT_EQ(encode("f"), "Zg==");
    EXPECT_EQ(encode("fo"), "Zm8=");
    EXPECT_EQ(encode("foob"), "Zm9vYg==");
    wav::Bytes out;
    ASSERT_TRUE(codec::Base64Decode("Zm9vYmE=", out));
    EXPECT_EQ(std::string(out.begin(), out.end()), "fooba");
    for (const char* bad : {"Zg=", "Zg==Zg==", "Z!==", "Zm9v\nYg==", "=Zg="})
        EXPECT_FALSE(codec::Base64Decode(bad, out)) << bad;
}

TEST(PictureBlock, RoundTripKeepsTypeDescriptionAndBytes) {
    const wav::Picture sleeve = Sleeve();
    const std::string comment = codec::MakePictureComment(sleeve);
    wav::Bytes block;
    ASSERT_TRUE(codec::Base64Decode(comment, block));
    // Type 4, then the MIME type's length and text.
    EXPECT_EQ(std::string(block.begin() + 8, block.begin() + 18), "image/jpeg");
    EXPECT_EQ(block[3], 4);
    wav::Picture back;
    std::string why;
    ASSERT_TRUE(codec::ReadPictureComment(comment, back, why));
    EXPECT_EQ(back.type, 4);
    EXPECT_EQ(Narrow(back.description), "Sléeve");
    EXPECT_EQ(back.data, sleeve.data);
    block.resize(block.size() - 1); // the data cut one byte short
    EXPECT_FALSE(
        codec::ReadPictureComment(codec::Base64Encode(block.data(), block.size()), back, why));
    EXPECT_EQ(why, "its picture block is cut short");
}

TEST(OggComments, OpusGainsArriveAsReplayGain) {
    wav::WaveTags tags;
    std::string why;
    ASSERT_TRUE(codec::ReadOggComments(
        {"TITLE=T", "R128_TRACK_GAIN=-512", "r128_album_gain=0", "R128_TRACK_GAIN=junk"},
        OggCodec::Opus, tags, why));
    EXPECT_EQ(Value(tags, u"replaygain_track_gain"), "+3.00 dB");
    EXPECT_EQ(Value(tags, u"replaygain_album_gain"), "+5.00 dB");
    EXPECT_EQ(Value(tags, u"R128_TRACK_GAIN"), "junk"); // not a gain: kept as it stands
    wav::WaveTags vorbis;
    ASSERT_TRUE(codec::ReadOggComments({"R128_TRACK_GAIN=-512"}, OggCodec::Vorbis, vorbis, why));
    EXPECT_EQ(Value(vorbis, u"R128_TRACK_GAIN"), "-512");
}

TEST(OggComments, OpusWritesR128AndNoReplayGainFields) {
    wav::WaveTags tags;
    tags.text = {{u"title", u"T"},
                 {u"replaygain_track_gain", u"-6.54 dB"},
                 {u"replaygain_track_peak", u"0.98"},
                 {u"replaygain_album_gain", u"+2.5 dB"},
                 {u"R128_TRACK_GAIN", u"junk"}};
    const std::vector<std::string> opus = codec::MakeOggComments(tags, OggCodec::Opus);
    const std::vector<std::string> want = {"TITLE=T", "R128_TRACK_GAIN=-2954",
                                           "R128_ALBUM_GAIN=-640"};
    EXPECT_EQ(opus, want);
    const std::vector<std::string> vorbis = codec::MakeOggComments(tags, OggCodec::Vorbis);
    EXPECT_EQ(vorbis.size(), 5u);
    EXPECT_EQ(vorbis[1], "REPLAYGAIN_TRACK_GAIN=-6.54 dB");
    // Back from R128, the gain reads as it was written.
    wav::WaveTags back;
    std::string why;
    ASSERT_TRUE(codec::ReadOggComments({opus.begin() + 1, opus.end()}, OggCodec::Opus, back, why));
    EXPECT_EQ(Value(back, u"replaygain_track_gain"), "-6.54 dB");
    int q78 = 0;
    EXPECT_FALSE(codec::ReplayGainToR128("+200 dB", q78));
    // A gain finer than 0.01 dB is taken at that step, so that it converts back to the same.
    ASSERT_TRUE(codec::ReplayGainToR128("-1.009 dB", q78));
    EXPECT_EQ(q78, -1539);
    EXPECT_EQ(codec::R128ToReplayGain(q78), "-1.01 dB");
}

TEST(OggComments, PicturesBothWaysAndABrokenOneFails) {
    wav::WaveTags tags;
    tags.pictures = {Sleeve()};
    const std::vector<std::string> comments = codec::MakeOggComments(tags, OggCodec::Vorbis);
    ASSERT_EQ(comments.size(), 1u);
    EXPECT_TRUE(comments[0].starts_with("METADATA_BLOCK_PICTURE="));
    wav::WaveTags back;
    std::string why;
    ASSERT_TRUE(codec::ReadOggComments({comments[0]}, OggCodec::Opus, back, why));
    ASSERT_EQ(back.pictures.size(), 1u);
    EXPECT_EQ(back.pictures[0].data, Sleeve().data);
    EXPECT_EQ(Narrow(back.pictures[0].description), "Sléeve");
    EXPECT_FALSE(codec::ReadOggComments({"TITLE=x", "metadata_block_picture=AAAA!!!="},
                                        OggCodec::Vorbis, back, why));
    EXPECT_EQ(why, "a METADATA_BLOCK_PICTURE comment is damaged: its base64 text is broken");
}

TEST(ChannelOrder, FiveOneBetweenWaveAndVorbisOrder) {
    // Wave order FL FR FC LFE BL BR; Vorbis order FL FC FR BL BR LFE.
    const int16_t wave[6] = {1, 2, 3, 4, 5, 6};
    codec::FloatUnpacker unpacker;
    WmWaveFormat format = wav::MakeWaveFormat(wav::SampleKind::Pcm, 6, 48000, 16);
    ASSERT_TRUE(unpacker.Start(format));
    float vorbis[6];
    unpacker.Unpack(reinterpret_cast<const uint8_t*>(wave), 1, vorbis);
    const float want[6] = {1, 3, 2, 5, 6, 4};
    for (int c = 0; c < 6; ++c)
        EXPECT_EQ(vorbis[c] * 32768, want[c]) << c;
    int16_t back[6] = {1, 3, 2, 5, 6, 4};
    codec::VorbisToWaveOrder(back, 1, 6);
    EXPECT_TRUE(std::equal(back, back + 6, wave));
    // Stereo and quad agree in both orders.
    EXPECT_EQ(codec::VorbisChannelSources(2), nullptr);
    EXPECT_EQ(codec::VorbisChannelSources(4), nullptr);
}
