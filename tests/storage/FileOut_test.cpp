// The file sink: samples written in the target format, and peak rows built on the way that equal
// a scan of the same samples, in whole blocks of 256 frames only.
#include "core/MediaData.h"
#include "storage/BasicIO.h"
#include "storage/FileOut.h"
#include "storage/ScanThread.h"
#include "storage/WavImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

namespace tw {
namespace {

// Collects what is written into a growing vector; can be told to fail.
class VectorIO : public IBasicIO {
public:
    explicit VectorIO(const WAVEFORMATEX& format) { Format = format; }
    int64_t GetLength() override { return static_cast<int64_t>(bytes.size()); }
    void Seek(int64_t position) override { m_position = static_cast<size_t>(position); }
    bool Write(const void* source, uint32_t count) override {
        if (fail)
            return false;
        if (m_position + count > bytes.size())
            bytes.resize(m_position + count);
        std::memcpy(bytes.data() + m_position, source, count);
        m_position += count;
        return true;
    }
    bool Read(void*, uint32_t) override { return false; }
    std::string GetTypeName() override { return "VectorIO"; }

    std::vector<uint8_t> bytes;
    std::atomic<bool> fail{false}; // read by a background writer

private:
    size_t m_position = 0;
};

WAVEFORMATEX Pcm(int channels, int bits) {
    WAVEFORMATEX f{};
    f.wFormatTag = WAVE_FORMAT_PCM;
    f.nChannels = static_cast<uint16_t>(channels);
    f.nSamplesPerSec = 44100;
    f.wBitsPerSample = static_cast<uint16_t>(bits);
    f.nBlockAlign = static_cast<uint16_t>(channels * bits / 8);
    f.nAvgBytesPerSec = f.nBlockAlign * 44100u;
    return f;
}

int32_t WriteFloats(CFileOut& out, const float* samples, int frames, int channels) {
    CMediaData block(frames, channels * 4);
    std::memcpy(block.GetBuffer(), samples, static_cast<size_t>(frames) * channels * 4);
    return out.Write(block);
}

int32_t WriteBytes(CFileOut& out, const std::vector<uint8_t>& bytes, int blockAlign) {
    CMediaData block(static_cast<int64_t>(bytes.size()) / blockAlign, blockAlign);
    std::memcpy(block.GetBuffer(), bytes.data(), bytes.size());
    return out.Write(block);
}

std::vector<float> PeakFloats(const VectorIO& peak) {
    std::vector<float> values(peak.bytes.size() / 4);
    for (size_t i = 0; i < values.size(); ++i) {
        const uint32_t bits = GetLE32(peak.bytes.data() + 4 * i);
        std::memcpy(&values[i], &bits, 4);
    }
    return values;
}

TEST(FileOut, Write_WithoutTargetOrWithAFormatItCannotServe_Fails) {
    CFileOut out;
    CMediaData block(4, 8);
    std::memset(block.GetBuffer(), 0, 32);
    EXPECT_EQ(out.Write(block), CFileOut::kNoTarget);

    VectorIO nine(Pcm(9, 16));
    VectorIO none(Pcm(0, 16));
    VectorIO twelve(Pcm(2, 12));
    EXPECT_FALSE(out.Attach(&nine, nullptr, true));
    EXPECT_FALSE(out.Attach(&none, nullptr, true));
    EXPECT_FALSE(out.Attach(&twelve, nullptr, true));
    EXPECT_FALSE(out.Attach(nullptr, nullptr, true));
    EXPECT_EQ(out.Write(block), CFileOut::kNoTarget);
    // Raw input of an unusual width is written as it comes.
    EXPECT_TRUE(out.Attach(&twelve, nullptr, false));
}

TEST(FileOut, FloatInput_IsQuantisedAndCountedAndAFailedWriteCountsNothing) {
    VectorIO data(Pcm(2, 16));
    CFileOut out;
    ASSERT_TRUE(out.Attach(&data, nullptr, true));
    std::mt19937 random(5);
    std::uniform_real_distribution<float> level(-1.2f, 1.2f);
    std::vector<float> samples(2 * 300);
    for (float& s : samples)
        s = level(random);
    ASSERT_EQ(WriteFloats(out, samples.data(), 300, 2), CFileOut::kOk);
    ASSERT_EQ(data.bytes.size(), 1200u);
    for (size_t i = 0; i < samples.size(); ++i) {
        // Rounded half away from zero and clipped, with dither off.
        const long expected = std::clamp(std::lround(samples[i] * 32768.0), -32768L, 32767L);
        ASSERT_EQ(static_cast<int16_t>(GetLE16(data.bytes.data() + 2 * i)), expected) << i;
    }
    EXPECT_EQ(out.GetBytesWritten(), 1200);
    EXPECT_EQ(out.GetPosition(), 300);

    data.fail = true;
    EXPECT_EQ(WriteFloats(out, samples.data(), 10, 2), CFileOut::kWriteFailed);
    EXPECT_EQ(out.GetBytesWritten(), 1200);
    EXPECT_EQ(out.GetPosition(), 300);
}

TEST(FileOut, BackgroundWrites_GiveTheBytesOfPlainWritesAndReportAFailureAtTheEnd) {
    std::vector<float> samples(2 * 3000);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(0.8 * std::sin(0.003 * static_cast<double>(i)));
    // Two sinks with the same dither noise: one writes by itself, one through its thread.
    VectorIO plain(Pcm(2, 16));
    VectorIO threaded(Pcm(2, 16));
    CFileOut a;
    CFileOut b;
    ASSERT_TRUE(a.Attach(&plain, nullptr, true));
    ASSERT_TRUE(b.Attach(&threaded, nullptr, true));
    std::srand(31);
    a.SetDither(true, 0);
    std::srand(31);
    b.SetDither(true, 0);
    b.BeginBackgroundWrites();
    int at = 0;
    for (int frames = 1; at + frames <= 3000; frames = frames * 2 + 1) {
        ASSERT_EQ(WriteFloats(a, samples.data() + 2 * at, frames, 2), CFileOut::kOk);
        ASSERT_EQ(WriteFloats(b, samples.data() + 2 * at, frames, 2), CFileOut::kOk);
        at += frames;
    }
    for (; at + 7 <= 3000; at += 7) {
        ASSERT_EQ(WriteFloats(a, samples.data() + 2 * at, 7, 2), CFileOut::kOk);
        ASSERT_EQ(WriteFloats(b, samples.data() + 2 * at, 7, 2), CFileOut::kOk);
    }
    EXPECT_EQ(b.EndBackgroundWrites(), CFileOut::kOk);
    EXPECT_EQ(threaded.bytes, plain.bytes);
    EXPECT_EQ(b.GetBytesWritten(), a.GetBytesWritten());

    // A target that fails: nothing more is counted, and the end of the run says so.
    const int32_t before = b.GetBytesWritten();
    threaded.fail = true;
    b.BeginBackgroundWrites();
    // Blocks are gathered into large writes, so the failure shows some blocks later: well before
    // a megabyte has been handed in.
    int refusedAt = -1;
    for (int i = 0; i < 100 && refusedAt < 0; ++i) {
        if (WriteFloats(b, samples.data(), 3000, 2) == CFileOut::kWriteFailed)
            refusedAt = i;
    }
    EXPECT_GT(refusedAt, 0);
    EXPECT_EQ(WriteFloats(b, samples.data(), 100, 2), CFileOut::kWriteFailed);
    EXPECT_EQ(b.EndBackgroundWrites(), CFileOut::kWriteFailed);
    EXPECT_EQ(b.GetBytesWritten(), before);
    // Outside a run the sink writes by itself again.
    threaded.fail = false;
    EXPECT_EQ(WriteFloats(b, samples.data(), 100, 2), CFileOut::kOk);
    EXPECT_EQ(b.GetBytesWritten(), before + 400);
}

TEST(FileOut, PeakRows_OnlyForWholeBlocksOf256FramesAcrossWrites) {
    const std::vector<float> samples(2 * 1024, 0.25f);
    struct Case {
        std::vector<int> writes; // frames per Write
        size_t rows;
    };
    for (const Case& c : {Case{{255}, 0}, Case{{256}, 1}, Case{{511}, 1}, Case{{100, 156}, 1},
                          Case{{200, 200, 200}, 2}, Case{{1, 1023}, 4}}) {
        VectorIO data(Pcm(2, 16));
        VectorIO peak(Pcm(2, 16));
        CFileOut out;
        ASSERT_TRUE(out.Attach(&data, &peak, true));
        for (int frames : c.writes)
            ASSERT_EQ(WriteFloats(out, samples.data(), frames, 2), CFileOut::kOk);
        EXPECT_EQ(peak.bytes.size(), c.rows * 2 * 8) << c.writes.size() << " writes, first " << c.writes[0];
    }
}

TEST(FileOut, PeakRows_EqualAScanOfTheSameSamples) {
    const int channels = 3;
    const int frames = 256 * 5 + 77;
    std::mt19937 random(11);
    std::normal_distribution<float> level(0.0f, 0.3f);
    std::vector<float> samples(static_cast<size_t>(frames) * channels);
    for (float& s : samples)
        s = level(random);
    samples[256 * channels + 1] = 1.5f; // beyond full scale: peaks see the input, not the clipped output

    VectorIO data(Pcm(channels, 24));
    VectorIO peak(Pcm(channels, 24));
    CFileOut out;
    ASSERT_TRUE(out.Attach(&data, &peak, true));
    for (int at = 0; at < frames; at += 123)
        ASSERT_EQ(WriteFloats(out, samples.data() + at * channels, std::min(123, frames - at), channels), 0);
    EXPECT_EQ(data.bytes.size(), static_cast<size_t>(frames) * channels * 3);

    const std::vector<float> rows = PeakFloats(peak);
    ASSERT_EQ(rows.size(), 5u * channels * 2);
    for (int block = 0; block < 5; ++block) {
        float minimum[8];
        float maximum[8];
        CScanThread::ScanBlock(samples.data() + block * 256 * channels, channels, 256, minimum, maximum);
        for (int c = 0; c < channels; ++c) {
            EXPECT_EQ(rows[(block * channels + c) * 2], minimum[c]) << block << "/" << c;
            EXPECT_EQ(rows[(block * channels + c) * 2 + 1], maximum[c]) << block << "/" << c;
        }
    }
    EXPECT_EQ(rows[(1 * channels + 1) * 2 + 1], 1.5f);
}

// Integer input is written unchanged, and its peaks are the samples scaled to +-1.0: the most
// negative value of every width is exactly -1.0.
TEST(FileOut, IntegerInput_IsWrittenAsItComesWithPeaksFromTheScaledSamples) {
    struct Case {
        int bits;
        std::vector<uint8_t> lowest; // one sample, little-endian
        std::vector<uint8_t> highest;
        float highestPeak;
    };
    for (const Case& c :
         {Case{8, {0x00}, {0xFF}, 127.0f / 128.0f}, Case{16, {0x00, 0x80}, {0xFF, 0x7F}, 32767.0f / 32768.0f},
          Case{24, {0x00, 0x00, 0x80}, {0xFF, 0xFF, 0x7F}, 8388607.0f / 8388608.0f},
          Case{32, {0x00, 0x00, 0x00, 0x80}, {0xFF, 0xFF, 0xFF, 0x7F}, 1.0f}}) {
        // Mono, 256 frames: the lowest sample once, the highest once, the rest silence (the
        // 8-bit silence is 128).
        const int width = c.bits / 8;
        std::vector<uint8_t> bytes(256 * static_cast<size_t>(width), 0);
        for (size_t i = 0; i < bytes.size(); i += width)
            bytes[i + width - 1] = c.bits == 8 ? 0x80 : 0;
        std::copy(c.lowest.begin(), c.lowest.end(), bytes.begin() + 10 * width);
        std::copy(c.highest.begin(), c.highest.end(), bytes.begin() + 200 * width);

        VectorIO data(Pcm(1, c.bits));
        VectorIO peak(Pcm(1, c.bits));
        CFileOut out;
        ASSERT_TRUE(out.Attach(&data, &peak, false));
        ASSERT_EQ(WriteBytes(out, bytes, width), 0);
        EXPECT_EQ(data.bytes, bytes) << c.bits;
        EXPECT_EQ(out.GetPosition(), 256);
        const std::vector<float> rows = PeakFloats(peak);
        ASSERT_EQ(rows.size(), 2u) << c.bits;
        EXPECT_EQ(rows[0], -1.0f) << c.bits;
        EXPECT_FLOAT_EQ(rows[1], c.highestPeak) << c.bits;
    }
}

} // namespace
} // namespace tw
