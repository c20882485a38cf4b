// The shipped WAV decoder as the host's tag reader and "IDTags" writer.
#include "bundled/wav/WaveFormatRules.h"
#include "bundled/wav/WaveHeaderWriter.h"
#include "tags/AlbumArt.h"
#include "tags/IDTagSet.h"
#include "tests/unit/wav/WavPluginApi.h"
#include "tests/unit/wav/WavTestFiles.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace wm::test {
namespace {

// A cover-sized "picture" that starts like a PNG or a JPEG.
Bytes Picture(bool png, size_t length) {
    Bytes b = Noise(length, png ? 7 : 8);
    const Bytes sig =
        png ? Bytes{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'} : Bytes{0xFF, 0xD8, 0xFF, 0xE0};
    std::copy(sig.begin(), sig.end(), b.begin());
    return b;
}

class WavTagPlugin : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(decoder_.Load(Env(L"WAVEMILL_STAGE"))) << GetLastError();
        folder_ = MakeTempFolder(L"wav_tag_plugin_tests");
    }
    void SetUp() override {
        ASSERT_TRUE(decoder_.module);
        dec_ = decoder_.create(nullptr);
        ASSERT_TRUE(dec_);
    }
    void TearDown() override {
        if (dec_)
            decoder_.destroy(dec_);
    }

    static std::wstring Path(const std::wstring& name) { return folder_ + L"\\" + name; }

    // A 16-bit stereo wave file; returns its audio.
    static Bytes MakeWave(const std::wstring& path) {
        wav::WaveHeaderWriter writer;
        std::string error;
        EXPECT_TRUE(writer.Init(wav::MakeWaveFormat(wav::SampleKind::Pcm, 2, 44100, 16), error));
        const Bytes audio = Noise(44100 * 4 * 13 / 10, 5);
        Bytes file = writer.Build(audio.size());
        file.insert(file.end(), audio.begin(), audio.end());
        EXPECT_TRUE(WriteBytes(path, file));
        return audio;
    }

    uint32_t SetTags(const std::wstring& path, const IDTagSet& tags) {
        return decoder_.SetIdTags(dec_, path.c_str(), tags.Serialize());
    }

    // Opens the file, takes its tags and reads all of its audio.
    bool Decode(const std::wstring& path, IDTagSet& tags, Bytes& audio) {
        DecodeOpenInfo info{};
        if (!decoder_.OpenToConvert(dec_, path.c_str(), info))
            return false;
        tags.Clear();
        if (info.tagData)
            tags.Deserialize(info.tagData, info.tagSize);
        audio.clear();
        return decoder_.DecodeBlocks(dec_, [&](const AudioBlockInfo& block) {
            AppendAudio(audio, block);
            return true;
        }) && decoder_.CloseFile(dec_);
    }

    static int Temporaries() {
        WIN32_FIND_DATAW data;
        HANDLE find = FindFirstFileW(Path(L"*.rewrite.tmp").c_str(), &data);
        if (find == INVALID_HANDLE_VALUE)
            return 0;
        int n = 0;
        do
            ++n;
        while (FindNextFileW(find, &data));
        FindClose(find);
        return n;
    }

    static DecoderApi decoder_;
    static std::wstring folder_;
    void* dec_ = nullptr;
};

DecoderApi WavTagPlugin::decoder_;
std::wstring WavTagPlugin::folder_;

TEST_F(WavTagPlugin, IdTagsRewriteTheFileAndDecodeBack) {
    const std::wstring path = Path(L"tagged.wav");
    const Bytes audio = MakeWave(path);
    const Bytes front = Picture(true, 70000), back = Picture(false, 3001);
    IDTagSet tags;
    tags.Add(u"title", u"Caf\u00e9 \u266b");
    tags.Add(u"artist", u"A\rB");
    tags.Add(u"_riff_internal", u"not written");
    tags.AddData(MakeAlbumArtName(1, u"Front Album Cover", u""), front.data(), front.size());
    tags.AddData(MakeAlbumArtName(2, u"Back Album Cover", u"back side"), back.data(), back.size());
    ASSERT_EQ(SetTags(path, tags), 1u);
    EXPECT_EQ(Temporaries(), 0);

    IDTagSet read;
    Bytes decoded;
    ASSERT_TRUE(Decode(path, read, decoded));
    EXPECT_EQ(decoded, audio);
    ASSERT_EQ(read.Count(), 4u);
    EXPECT_EQ(read.GetValue(u"title"), u"Caf\u00e9 \u266b");
    EXPECT_EQ(read.GetValue(u"artist"), u"A\rB");
    EXPECT_EQ(read.At(2).Name, u"_albumart_1_Front Album Cover");
    EXPECT_EQ(read.At(2).Data, front);
    EXPECT_EQ(read.At(3).Name, u"_albumart_2_Back Album Cover<subdesc>back side");
    EXPECT_EQ(read.At(3).Data, back);

    // An empty set takes the tags out again.
    const size_t taggedSize = ReadBytes(path).size();
    ASSERT_EQ(SetTags(path, IDTagSet{}), 1u);
    ASSERT_TRUE(Decode(path, read, decoded));
    EXPECT_EQ(read.Count(), 0u);
    EXPECT_EQ(decoded, audio);
    EXPECT_LT(ReadBytes(path).size() + front.size(), taggedSize);
}

TEST_F(WavTagPlugin, FailedRewriteLeavesTheOriginalAndNoTemporary) {
    const std::wstring path = Path(L"kept.wav");
    MakeWave(path);
    const Bytes original = ReadBytes(path);
    IDTagSet tags;
    tags.Add(u"title", u"never written");

    // Held open without delete sharing, the file cannot be replaced.
    HANDLE h = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0,
                           nullptr);
    ASSERT_NE(h, INVALID_HANDLE_VALUE);
    EXPECT_EQ(SetTags(path, tags), 0u);
    CloseHandle(h);
    EXPECT_EQ(ReadBytes(path), original);
    EXPECT_EQ(Temporaries(), 0);

    // A read-only file is not replaced either.
    ASSERT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(SetTags(path, tags), 0u);
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(ReadBytes(path), original);
    EXPECT_EQ(Temporaries(), 0);

    // Not a wave file, no file, no name, another value.
    const std::wstring text = Path(L"text.wav");
    ASSERT_TRUE(WriteBytes(text, Bytes(100, 'x')));
    EXPECT_EQ(SetTags(text, tags), 0u);
    EXPECT_EQ(ReadBytes(text), Bytes(100, 'x'));
    EXPECT_EQ(SetTags(Path(L"missing.wav"), tags), 0u);
    PluginValue value{};
    EXPECT_EQ(decoder_.set(dec_, WM_VALUE_ID_TAGS, &value), 0u);
    value.pointer1 = const_cast<wchar_t*>(path.c_str());
    EXPECT_EQ(decoder_.set(dec_, u"IDTag", &value), 0u);
    EXPECT_EQ(Temporaries(), 0);
}

TEST_F(WavTagPlugin, ATakenTemporaryNameIsLeftAlone) {
    const std::wstring path = Path(L"busy.wav");
    const Bytes audio = MakeWave(path);
    const std::wstring taken =
        path + L".p" + std::to_wstring(GetCurrentProcessId()) + L".rewrite.tmp";
    ASSERT_TRUE(WriteBytes(taken, {'m', 'i', 'n', 'e'}));
    IDTagSet tags;
    tags.Add(u"album", u"A");
    EXPECT_EQ(SetTags(path, tags), 1u);
    EXPECT_EQ(ReadBytes(taken), (Bytes{'m', 'i', 'n', 'e'}));
    EXPECT_EQ(Temporaries(), 1);
    DeleteFileW(taken.c_str());
    IDTagSet read;
    Bytes decoded;
    ASSERT_TRUE(Decode(path, read, decoded));
    EXPECT_EQ(read.GetValue(u"album"), u"A");
    EXPECT_EQ(decoded, audio);
}

} // namespace
} // namespace wm::test
