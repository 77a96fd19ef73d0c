// The RIFF fuzz case run over generated inputs in the default suite: random bytes, a real wave
// image cut short at every length, with random bytes changed, and with extreme chunk sizes.
#include "../../fuzz/RiffFuzzBody.h"

#include "core/MediaData.h"
#include "storage/MemoryOut.h"
#include "storage/WavImage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace tw {
namespace {

void Expect(const std::string& bytes) {
    const fuzz::RiffFuzzOutcome outcome = fuzz::RunRiffFuzzCase(bytes);
    ASSERT_TRUE(outcome.consistent) << outcome.problem << " (input of " << bytes.size() << " bytes)";
}

// A stereo 16-bit image of 20 frames as the memory sink writes it, with a "LIST" chunk put in
// before the data so that the walk has more than one step to take.
std::string ValidImage() {
    WAVEFORMATEX f{WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
    std::vector<uint8_t> image(static_cast<size_t>(WavImageSize(f, 20)));
    CMemoryOut out;
    EXPECT_EQ(out.AttachWithHeader(image.data(), static_cast<uint32_t>(image.size()), f), 0);
    CMediaData block(20, 8);
    for (int i = 0; i < 40; ++i)
        block.GetFloats()[i] = static_cast<float>(i) / 64.0f;
    EXPECT_EQ(out.Write(block), 0);
    std::string bytes(image.begin(), image.end());
    std::string list = "LIST";
    list += std::string("\x05\x00\x00\x00", 4) + "abcde";
    bytes.insert(38, list);
    uint8_t riffSize[4];
    PutLE32(riffSize, static_cast<uint32_t>(bytes.size() - 8));
    bytes.replace(4, 4, reinterpret_cast<const char*>(riffSize), 4);
    return bytes;
}

TEST(RiffFuzzRegression, AValidImageIsReadWhole_AndCutShortAtAnyLengthFailsWithoutReadingOutside) {
    const std::string valid = ValidImage();
    Expect(valid);
    fuzz::BoundsCheckedIO io(valid);
    CRiffFilter riff(&io);
    int64_t offset = 0;
    uint32_t size = 0;
    ASSERT_TRUE(riff.FindData(offset, size));
    EXPECT_EQ(offset, 46 + 13);
    EXPECT_EQ(size, 80u);
    // Cut short at any length: fails without reading outside.
    for (size_t length = 0; length < valid.size(); ++length)
        Expect(valid.substr(0, length));
}

TEST(RiffFuzzRegression, RandomBytesChangedImagesAndExtremeSizes_AreAnsweredConsistently) {
    const std::string valid = ValidImage();
    std::mt19937 random(3202611);
    for (int round = 0; round < 500; ++round) {
        std::string bytes(random() % 120, '\0');
        for (char& c : bytes)
            c = static_cast<char>(random());
        if (round % 2 == 0 && bytes.size() >= 12) {
            bytes.replace(0, 4, "RIFF");
            bytes.replace(8, 4, "WAVE");
        }
        Expect(bytes);

        std::string changed = valid;
        const int edits = 1 + static_cast<int>(random() % 4);
        for (int e = 0; e < edits; ++e)
            changed[random() % changed.size()] = static_cast<char>(random());
        Expect(changed);
    }
    // Every size field of the image (RIFF, fmt, LIST, data) set to extreme values.
    for (size_t at : {4u, 16u, 42u, 55u}) {
        for (uint32_t value : {0u, 1u, 17u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF7u, 0xFFFFFFFFu}) {
            std::string bytes = valid;
            uint8_t field[4];
            PutLE32(field, value);
            bytes.replace(at, 4, reinterpret_cast<const char*>(field), 4);
            Expect(bytes);
        }
    }
}

} // namespace
} // namespace tw
