// The memory sink: the 46-byte wave image header byte by byte, images that an independent reader
// decodes to the samples put in, and the two different "full" rules with and without a format.
#include "PeakTestSupport.h"
#include "core/MediaData.h"
#include "storage/MemoryIO.h"
#include "storage/MemoryOut.h"
#include "storage/RiffFilter.h"
#include "storage/WavImage.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace tw {
namespace {

using test::PcmFormat;

// A block of float frames holding `samples`, interleaved.
struct FloatBlock {
    FloatBlock(const std::vector<float>& samples, int channels)
        : data(static_cast<int64_t>(samples.size()) / channels, channels * 4) {
        std::memcpy(data.GetBuffer(), samples.data(), samples.size() * 4);
    }
    CMediaData data;
};

TEST(MemoryOut, AttachWithHeader_WritesTheFortySixByteImageHeader_AndAllocateOwnsItsBlock) {
    std::vector<uint8_t> buffer(46 + 40, 0xEE);
    CMemoryOut out;
    ASSERT_EQ(
        out.AttachWithHeader(buffer.data(), static_cast<uint32_t>(buffer.size()), PcmFormat(2, 44100, 16)),
        0);
    const uint8_t expected[46] = {
        'R',  'I',  'F',  'F', 78,  0,   0,   0,   // data size 40 + 38
        'W',  'A',  'V',  'E', 'f', 'm', 't', ' ', //
        18,   0,    0,    0,                       // fmt size
        1,    0,                                   // PCM
        2,    0,                                   // channels
        0x44, 0xAC, 0,    0,                       // 44100 Hz
        0x10, 0xB1, 0x02, 0,                       // 176400 bytes per second
        4,    0,                                   // block align
        16,   0,                                   // bits
        0,    0,                                   // cbSize
        'd',  'a',  't',  'a', 40,  0,   0,   0,   // data size
    };
    EXPECT_EQ(std::vector<uint8_t>(buffer.begin(), buffer.begin() + 46),
              std::vector<uint8_t>(expected, expected + 46));
    EXPECT_EQ(buffer[46], 0xEE);
    EXPECT_EQ(out.GetBytesWritten(), 46);
    EXPECT_FALSE(out.OwnsBuffer());
    EXPECT_EQ(WavImageSize(PcmFormat(2, 44100, 16), 10), 86u);

    CMemoryOut owned;
    EXPECT_TRUE(owned.OwnsBuffer());
    ASSERT_EQ(owned.Allocate(64), 0);
    EXPECT_TRUE(owned.OwnsBuffer());
    EXPECT_EQ(owned.GetCapacity(), 64u);
    ASSERT_NE(owned.GetBuffer(), nullptr);

    // No header fits in fewer than 46 bytes, and the quantiser knows no 12-bit samples.
    CMemoryOut small;
    EXPECT_EQ(small.AttachWithHeader(buffer.data(), 45, PcmFormat(1, 8000, 16)), 2);
    EXPECT_EQ(small.AttachWithHeader(buffer.data(), 86, PcmFormat(1, 8000, 12)), 2);
    EXPECT_EQ(small.AttachWithHeader(buffer.data(), 86, PcmFormat(9, 8000, 16)), 2);
}

// Renders samples of exact value k / 2^(bits-1) into an image, then reads the image with libsndfile
// (which gives every width as a 32-bit integer, k << (32 - bits)) and with the RIFF reader.
TEST(MemoryOut, ImagesOfEveryWidth_ReadBackByAnIndependentReaderAsTheSamplesPutIn) {
    const std::string path =
        (std::filesystem::temp_directory_path() / ("tw-memout-" + std::to_string(::getpid()) + ".wav"))
            .string();
    for (int bits : {8, 16, 24, 32}) {
        const int channels = 2;
        const int frames = 200;
        const WAVEFORMATEX format = PcmFormat(channels, 48000, bits);
        const double full = std::ldexp(1.0, bits - 1);
        // Step sizes that keep k / 2^(bits-1) exact in a float, over most of the range.
        const int64_t step = bits == 32 ? 65536 : 1;
        std::vector<float> samples;
        std::vector<int64_t> expected;
        const int64_t range = std::min<int64_t>(static_cast<int64_t>(full), 30000);
        for (int i = 0; i < frames * channels; ++i) {
            const int64_t k = ((i * 37) % (2 * range) - range) * step;
            samples.push_back(static_cast<float>(static_cast<double>(k) / full));
            expected.push_back(k);
        }
        std::vector<uint8_t> image(static_cast<size_t>(WavImageSize(format, frames)));
        CMemoryOut out;
        ASSERT_EQ(out.AttachWithHeader(image.data(), static_cast<uint32_t>(image.size()), format), 0);
        FloatBlock block(samples, channels);
        ASSERT_EQ(out.Write(block.data), 0) << bits;
        ASSERT_EQ(out.GetBytesWritten(), static_cast<int32_t>(image.size()));

        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(image.data()), image.size());
        SF_INFO info{};
        SNDFILE* sf = sf_open(path.c_str(), SFM_READ, &info);
        ASSERT_NE(sf, nullptr) << bits << " bits: " << sf_strerror(nullptr);
        EXPECT_EQ(info.channels, channels);
        EXPECT_EQ(info.samplerate, 48000);
        ASSERT_EQ(info.frames, frames);
        std::vector<int> read(static_cast<size_t>(frames * channels));
        ASSERT_EQ(sf_readf_int(sf, read.data(), frames), frames);
        sf_close(sf);
        for (size_t i = 0; i < read.size(); ++i)
            ASSERT_EQ(read[i], static_cast<int32_t>(static_cast<uint32_t>(expected[i]) << (32 - bits)))
                << bits << " bits, sample " << i;

        CMemoryIO io;
        io.Open(std::make_shared<std::vector<uint8_t>>(image), nullptr);
        CRiffFilter riff(&io);
        WAVEFORMATEX found{};
        int64_t offset = 0;
        uint32_t size = 0;
        ASSERT_TRUE(riff.ReadFormat(found));
        EXPECT_TRUE(SameFormat(found, format));
        ASSERT_TRUE(riff.FindData(offset, size));
        EXPECT_EQ(offset, 46);
        EXPECT_EQ(size, image.size() - 46);
    }
    std::filesystem::remove(path);
}

TEST(MemoryOut, WithoutFormat_AnExactFillIsFullButWithFormatItIsNot) {
    const std::vector<float> four{0.5f, -0.5f, 0.25f, -0.25f}; // 16 bytes of raw input
    std::vector<uint8_t> raw(16 + 4, 0xEE);
    CMemoryOut copy;
    ASSERT_EQ(copy.Attach(raw.data(), 16), 0);
    FloatBlock block(four, 1);
    EXPECT_EQ(copy.Write(block.data), 2);
    EXPECT_EQ(copy.GetBytesWritten(), 16);
    EXPECT_EQ(std::memcmp(raw.data(), four.data(), 16), 0);
    EXPECT_EQ(raw[16], 0xEE);

    // A write that does not fit copies the part that does.
    copy.Reset();
    FloatBlock three({1.0f, 2.0f, 3.0f}, 1);
    EXPECT_EQ(copy.Write(three.data), 0);
    EXPECT_EQ(copy.GetBytesWritten(), 12);
    FloatBlock two({4.0f, 5.0f}, 1);
    EXPECT_EQ(copy.Write(two.data), 2);
    EXPECT_EQ(copy.GetBytesWritten(), 16);
    float last = 0;
    std::memcpy(&last, raw.data() + 12, 4);
    EXPECT_EQ(last, 4.0f);
    EXPECT_EQ(raw[16], 0xEE);

    // The same four samples into exactly four 16-bit mono frames behind a header: not full.
    std::vector<uint8_t> image(46 + 8 + 4, 0xEE);
    CMemoryOut sink;
    ASSERT_EQ(sink.AttachWithHeader(image.data(), 46 + 8, PcmFormat(1, 8000, 16)), 0);
    EXPECT_EQ(sink.Write(block.data), 0);
    EXPECT_EQ(sink.GetBytesWritten(), 54);
    EXPECT_EQ(std::vector<uint8_t>(image.begin() + 46, image.begin() + 54),
              (std::vector<uint8_t>{0x00, 0x40, 0x00, 0xC0, 0x00, 0x20, 0x00, 0xE0})); // +-16384, +-8192
    // Then nothing fits any more.
    EXPECT_EQ(sink.Write(block.data), 2);
    EXPECT_EQ(sink.GetBytesWritten(), 54);
    EXPECT_EQ(image[54], 0xEE);
}

TEST(MemoryOut, WithFormat_AnOverlongWriteKeepsTheWholeFramesThatFit) {
    // Room for three stereo 24-bit frames plus two stray bytes, which no frame can use.
    const WAVEFORMATEX format = PcmFormat(2, 8000, 24);
    std::vector<uint8_t> image(46 + 18 + 2 + 4, 0xEE);
    CMemoryOut sink;
    ASSERT_EQ(sink.AttachWithHeader(image.data(), 46 + 18 + 2, format), 0);
    std::vector<float> samples;
    for (int i = 0; i < 10; ++i)
        samples.push_back(static_cast<float>((i + 1) * 1000) / 8388608.0f);
    FloatBlock block(samples, 2);
    EXPECT_EQ(sink.Write(block.data), 2);
    EXPECT_EQ(sink.GetBytesWritten(), 46 + 18 + 2);
    for (int i = 0; i < 6; ++i) {
        const uint8_t* p = image.data() + 46 + 3 * i;
        EXPECT_EQ(p[0] | (p[1] << 8) | (p[2] << 16), (i + 1) * 1000) << i;
    }
    EXPECT_EQ(image[46 + 18], 0xEE);
    EXPECT_EQ(image[46 + 19], 0xEE);
}

} // namespace
} // namespace tw
