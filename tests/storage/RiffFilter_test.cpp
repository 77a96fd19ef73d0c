// Finding the format and data of RIFF images: the chunk walk as the memory sink's images need it,
// files written by an independent writer, and damaged images that must fail without reading
// outside the object.
#include "storage/FileIO.h"
#include "storage/MemoryIO.h"
#include "storage/RiffFilter.h"
#include "storage/WavImage.h"

#include "platform/File.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tw {
namespace {

void Append32(std::vector<uint8_t>& bytes, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        bytes.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void AppendTag(std::vector<uint8_t>& bytes, const char* tag) {
    for (int i = 0; i < 4; ++i)
        bytes.push_back(static_cast<uint8_t>(tag[i]));
}

void AppendChunk(std::vector<uint8_t>& bytes, const char* tag, const std::vector<uint8_t>& body) {
    AppendTag(bytes, tag);
    Append32(bytes, static_cast<uint32_t>(body.size()));
    bytes.insert(bytes.end(), body.begin(), body.end());
}

// "RIFF", size, "WAVE" and the chunks; the RIFF size is patched in by Finish.
std::vector<uint8_t> Begin() {
    std::vector<uint8_t> bytes;
    AppendTag(bytes, "RIFF");
    Append32(bytes, 0);
    AppendTag(bytes, "WAVE");
    return bytes;
}

void SetTag(std::vector<uint8_t>& bytes, size_t at, const char* tag) {
    for (size_t i = 0; i < 4; ++i)
        bytes.at(at + i) = static_cast<uint8_t>(tag[i]);
}

void Finish(std::vector<uint8_t>& bytes) {
    PutLE32(bytes.data() + 4, static_cast<uint32_t>(bytes.size() - 8));
}

// A format record as stored: tag 1, 2 channels, 44100 Hz, 176400 B/s, align 4, 16 bits, cbSize 0,
// then `extra` bytes counting up from 0xA0.
std::vector<uint8_t> FmtBody(size_t size) {
    std::vector<uint8_t> body(18, 0);
    WAVEFORMATEX f{WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
    PutFormatRecord(body.data(), f);
    body.resize(size, 0);
    for (size_t i = 18; i < size; ++i)
        body[i] = static_cast<uint8_t>(0xA0 + i);
    return body;
}

// A filter over a copy of the bytes in a memory object.
struct Image {
    explicit Image(std::vector<uint8_t> bytes) {
        io.Open(std::make_shared<std::vector<uint8_t>>(std::move(bytes)), nullptr);
    }
    CMemoryIO io;
    CRiffFilter riff{&io};
};

TEST(RiffFilter, FindChunk_WalksChunksByTheirSizeWithoutPaddingForAtMostAHundredChunks) {
    auto bytes = Begin();
    AppendChunk(bytes, "junk", {});
    AppendChunk(bytes, "data", {1, 2, 3, 4});
    Finish(bytes);
    Image empty(bytes);
    EXPECT_EQ(empty.riff.FindChunk("data"), 24); // the empty chunk moves 8 bytes, to offset 20
    EXPECT_EQ(empty.riff.FindChunk("junk"), 16);
    EXPECT_EQ(empty.riff.FindChunk("fmt "), -1);

    // An odd-sized chunk moves exactly size + 8: unpadded images are found, padded ones are not.
    auto odd = Begin();
    AppendChunk(odd, "LIST", {9, 9, 9});
    AppendChunk(odd, "data", {1, 2});
    Finish(odd);
    EXPECT_EQ(Image(odd).riff.FindChunk("data"), 27);
    auto padded = Begin();
    AppendChunk(padded, "LIST", {9, 9, 9, 0});
    PutLE32(padded.data() + 16, 3);
    AppendChunk(padded, "data", {1, 2});
    Finish(padded);
    EXPECT_EQ(Image(padded).riff.FindChunk("data"), -1);

    // A chunk of 64 KiB or more is stepped over by its whole 32-bit size.
    auto big = Begin();
    AppendChunk(big, "LIST", std::vector<uint8_t>(70000, 7));
    AppendChunk(big, "data", {1, 2});
    Finish(big);
    EXPECT_EQ(Image(big).riff.FindChunk("data"), 12 + 8 + 70000 + 4);

    // The walk gives up after one hundred chunks.
    for (int before : {99, 100}) {
        auto many = Begin();
        for (int i = 0; i < before; ++i)
            AppendChunk(many, "pad ", {0});
        AppendChunk(many, "data", {7});
        Finish(many);
        Image image(many);
        int64_t offset = 0;
        uint32_t size = 0;
        EXPECT_EQ(image.riff.FindData(offset, size), before == 99) << before << " chunks before data";
        EXPECT_EQ(std::make_pair(offset, size), before == 99 ? std::make_pair(int64_t{12 + 99 * 9 + 8}, 1u)
                                                             : std::make_pair(int64_t{0}, 0u));
    }
}

TEST(RiffFilter, ReadFormat_FillsAtMostEighteenBytesAndLeavesTheRest) {
    for (size_t size : {16u, 18u, 40u}) {
        auto bytes = Begin();
        AppendChunk(bytes, "fmt ", FmtBody(size));
        AppendChunk(bytes, "data", {});
        Finish(bytes);
        Image image(bytes);
        WAVEFORMATEX f{};
        f.cbSize = 0x5A5A; // what the caller had stays when the chunk does not reach it
        ASSERT_TRUE(image.riff.ReadFormat(f)) << size;
        const WAVEFORMATEX expected{
            WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, static_cast<uint16_t>(size == 16 ? 0x5A5A : 0)};
        EXPECT_TRUE(SameFormat(f, expected)) << size;
    }
}

TEST(RiffFilter, DamagedImages_FailCleanly) {
    auto good = Begin();
    AppendChunk(good, "fmt ", FmtBody(18));
    AppendChunk(good, "data", {1, 2, 3, 4});
    Finish(good);

    // What, the bytes, and whether the format is still found: a fmt chunk ahead of the damage is
    // read, only the walk beyond it fails.
    struct Damaged {
        const char* what;
        std::vector<uint8_t> bytes;
        bool formatFound = false;
    };
    std::vector<Damaged> damaged;
    auto notRiff = good;
    SetTag(notRiff, 0, "RIFX");
    damaged.push_back({"wrong RIFF magic", notRiff});
    auto notWave = good;
    SetTag(notWave, 8, "AVI ");
    damaged.push_back({"wrong WAVE magic", notWave});
    damaged.push_back({"empty", std::vector<uint8_t>{}});
    damaged.push_back({"cut in the RIFF header", std::vector<uint8_t>(good.begin(), good.begin() + 10)});
    damaged.push_back(
        {"cut in the first chunk header", std::vector<uint8_t>(good.begin(), good.begin() + 18)});
    auto hugeFmt = good;
    PutLE32(hugeFmt.data() + 16, 0xFFFFFFF0u); // points far past the end
    damaged.push_back({"oversized fmt chunk", hugeFmt, true});
    auto negativeRiff = good;
    PutLE32(negativeRiff.data() + 4, 0x80000000u);
    damaged.push_back({"negative RIFF size", negativeRiff, true});

    for (const auto& [what, bytes, formatFound] : damaged) {
        Image image(bytes);
        WAVEFORMATEX f{};
        int64_t offset = -5;
        uint32_t size = 77;
        EXPECT_EQ(image.riff.ReadFormat(f), formatFound) << what;
        EXPECT_FALSE(image.riff.FindData(offset, size)) << what;
        EXPECT_EQ(offset, -5) << what;
        EXPECT_EQ(size, 77u) << what;
    }

    // A fmt chunk claiming more bytes than the image has: the 18 bytes that matter are read when
    // present, and a record cut short fails.
    auto longFmt = good;
    PutLE32(longFmt.data() + 16, 1000);
    longFmt.resize(12 + 8 + 18);
    Finish(longFmt);
    WAVEFORMATEX f{};
    EXPECT_TRUE(Image(longFmt).riff.ReadFormat(f));
    EXPECT_EQ(f.nSamplesPerSec, 44100u);
    longFmt.resize(12 + 8 + 10);
    EXPECT_FALSE(Image(longFmt).riff.ReadFormat(f));

    CRiffFilter none(nullptr);
    EXPECT_EQ(none.FindChunk("data"), -1);
}

TEST(RiffFilter, FileWrittenByAnIndependentWriter_IsFoundThroughAFileObject) {
    const std::string path =
        (std::filesystem::temp_directory_path() / ("tw-riff-" + std::to_string(::getpid()) + ".wav"))
            .string();
    SF_INFO info{};
    info.samplerate = 22050;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* sf = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
    std::vector<short> samples(2 * 300);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<short>(i * 97 - 20000);
    ASSERT_EQ(sf_writef_short(sf, samples.data(), 300), 300);
    sf_close(sf);

    {
        CFileIO io(path, CFile::modeRead | CFile::shareDenyNone, 0);
        CRiffFilter riff(&io);
        WAVEFORMATEX f{};
        ASSERT_TRUE(riff.ReadFormat(f));
        EXPECT_TRUE(SameFormat(f, WAVEFORMATEX{WAVE_FORMAT_PCM, 2, 22050, 88200, 4, 16, f.cbSize}));
        int64_t offset = 0;
        uint32_t size = 0;
        ASSERT_TRUE(riff.FindData(offset, size));
        ASSERT_EQ(size, samples.size() * 2);
        std::vector<uint8_t> data(size);
        io.Seek(offset);
        ASSERT_TRUE(io.Read(data.data(), size));
        for (size_t i = 0; i < samples.size(); ++i)
            ASSERT_EQ(static_cast<int16_t>(GetLE16(data.data() + 2 * i)), samples[i]) << i;
    }
    std::filesystem::remove(path);
}

} // namespace
} // namespace tw
