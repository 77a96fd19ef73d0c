#include "PeakTestSupport.h"

#include "core/MediaData.h"
#include "core/PeakData.h"
#include "platform/Presentation.h"
#include "storage/MemoryIO.h"
#include "storage/PCMAudio.h"
#include "storage/PeakFileManager.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <utility>

namespace tw {
namespace {

class PCMAudioTest : public ::testing::Test {
protected:
    // A stream over a generated WAV whose samples pass through a counting wrapper, with an empty
    // anonymous peak file so that attaching reads nothing.
    std::unique_ptr<CPCMAudio> Open(const WAVEFORMATEX& format, int64_t frames,
                                    const std::function<int64_t(int64_t, int)>& sample) {
        const std::string path = home.root + "/pcm" + std::to_string(++m_files) + ".wav";
        test::WriteWav(path, format, frames, sample);
        counter = new test::CountingIO(test::OpenWavSamples(path, format));
        auto stream = std::make_unique<CPCMAudio>();
        EXPECT_TRUE(stream->Attach(counter, peaks.CreatePeakFile("")));
        counter->seeks = 0;
        counter->reads = 0;
        return stream;
    }
    static int64_t Ramp16(int64_t frame, int channel) { return (frame * 3 + channel * 1000) % 30000 - 15000; }

    test::ScratchHome home;
    CPeakFileManager peaks;
    test::CountingIO* counter = nullptr;

private:
    int m_files = 0;
};

TEST_F(PCMAudioTest, ReadFrames_EveryDepth_ScalesToFullScale) {
    const std::pair<int, std::vector<int64_t>> cases[] = {
        {8, {0, 128, 255, 64, 192, 1, 129, 127, 200, 20, 128}},
        {16, {-32768, 32767, 0, 1, -1, 16384, -16384, 100, 200, -300, 12345}},
        {24, {-8388608, 8388607, 0, 1, -1, 65536, -65536, 4194304, 77, -77, 123456}},
        {32, {INT32_MIN, INT32_MAX, 0, 1, -1, 65536, -65536, 1 << 30, 77, -77, 123456789}},
    };
    for (const auto& [bits, raw] : cases) {
        const int64_t frames = static_cast<int64_t>(raw.size()); // 11: one unrolled pass and a tail
        auto stream = Open(test::PcmFormat(1, 8000, bits), frames, [&](int64_t f, int) { return raw[f]; });
        std::unique_ptr<CMediaData> data(stream->ReadFrames(CSection(0, frames)));
        ASSERT_EQ(data->GetFrameCount(), frames);
        for (int64_t i = 0; i < frames; ++i) {
            const double expected =
                static_cast<double>(raw[i] - (bits == 8 ? 128 : 0)) / std::ldexp(1.0, bits - 1);
            EXPECT_EQ(data->GetFloats()[i], static_cast<float>(expected)) << bits << " bits, sample " << i;
        }
    }
}

TEST_F(PCMAudioTest, ReadFrames_OutsideTheStream_IsSilenceAndIsNeverRead) {
    auto stream = Open(test::PcmFormat(2, 44100, 16), 1000, Ramp16);
    auto frames = [&](CSection section) {
        std::unique_ptr<CMediaData> data(stream->ReadFrames(section));
        EXPECT_EQ(data->GetFrameCount(), section.SectionLength());
        EXPECT_EQ(data->GetFrameSize(), 8);
        return std::vector<float>(data->GetFloats(), data->GetFloats() + 2 * data->GetFrameCount());
    };
    auto expected = [](int64_t from, int64_t to) {
        std::vector<float> out;
        for (int64_t f = from; f < to; ++f)
            for (int c = 0; c < 2; ++c)
                out.push_back(f >= 0 && f < 1000 ? static_cast<float>(Ramp16(f, c)) / 32768.0f : 0.0f);
        return out;
    };
    EXPECT_EQ(frames(CSection(1200, 1300)), expected(1200, 1300));
    EXPECT_EQ(counter->reads, 0);
    EXPECT_EQ(frames(CSection(990, 1010)), expected(990, 1010));
    EXPECT_EQ(counter->bytesRead, 10 * 4);
    // The mark moved past the end, so coming back seeks again.
    const int seeks = counter->seeks;
    delete stream->ReadFrames(CSection(1010, 1020));
    delete stream->ReadFrames(CSection(0, 10));
    EXPECT_EQ(counter->seeks, seeks + 2);
    EXPECT_EQ(frames(CSection(-4, 4)), expected(-4, 4));
}

TEST_F(PCMAudioTest, ReadFrames_AdjacentShortSections_SeekOnceAndReadAheadInOneGo) {
    auto stream = Open(test::PcmFormat(2, 44100, 16), 10000, Ramp16);
    for (int64_t start = 5000; start < 8000; start += 1000)
        delete stream->ReadFrames(CSection(start, start + 1000));
    EXPECT_EQ(counter->seeks, 1);
    // The first short read took the rest of the stream (within 128 KB) at once.
    EXPECT_EQ(counter->reads, 1);
    EXPECT_EQ(counter->bytesRead, 5000 * 4);

    std::unique_ptr<CMediaData> data(stream->ReadFrames(CSection(8000, 8002)));
    EXPECT_EQ(counter->seeks, 1);
    EXPECT_EQ(data->GetFloats()[3], Ramp16(8001, 1) / 32768.0f);
}

TEST_F(PCMAudioTest, ReadFrames_AJumpFillsAQuarterWindowAndGoingOnFillsAWholeOne) {
    auto stream = Open(test::PcmFormat(2, 44100, 16), 200000, Ramp16);
    delete stream->ReadFrames(CSection(0, 2048)); // in sequence from the start: 128 KB
    EXPECT_EQ(counter->bytesRead, 128 * 1024);
    delete stream->ReadFrames(CSection(60000, 62048)); // a jump: 32 KB
    EXPECT_EQ(counter->bytesRead, 160 * 1024);
    delete stream->ReadFrames(CSection(62048, 64096)); // still inside
    EXPECT_EQ(counter->reads, 2);
    delete stream->ReadFrames(CSection(68192, 70240)); // on from the window's end: 128 KB again
    EXPECT_EQ(counter->reads, 3);
    EXPECT_EQ(counter->bytesRead, 288 * 1024);
}

TEST_F(PCMAudioTest, ReadFrames_ShortRunsInAnyOrder_EqualOneWholeRead) {
    // Longer than the read-ahead window, so that runs cross its edges and leave it.
    const int64_t frames = 50000;
    auto stream = Open(test::PcmFormat(2, 44100, 16), frames, Ramp16);
    std::unique_ptr<CMediaData> whole(stream->ReadFrames(CSection(0, frames)));
    const int64_t starts[] = {0, 2048, 4096, 40000, 30000, 31000, 100, 32700, 32760, 49990, 16384, 16000};
    for (int64_t start : starts) {
        for (int64_t length : {1, 7, 2048, 3000}) {
            std::unique_ptr<CMediaData> part(stream->ReadFrames(CSection(start, start + length)));
            for (int64_t i = 0; i < 2 * length; ++i) {
                const float expected = start * 2 + i < frames * 2 ? whole->GetFloats()[start * 2 + i] : 0.0f;
                ASSERT_EQ(part->GetFloats()[i], expected) << start << " + " << i / 2;
            }
        }
    }
}

TEST_F(PCMAudioTest, ReadPeaks_FineMode_IsOneRowPerFrameWithTheSamplesAtEveryDepthAcrossSilence) {
    for (int bits : {8, 16, 24, 32}) {
        const int64_t range = bits == 8 ? 256 : int64_t{1} << (bits - 1);
        auto stream = Open(test::PcmFormat(2, 44100, bits), 3000, [&](int64_t f, int c) {
            const int64_t v = (f * 7919 + c * 104729) % range;
            return bits == 8 ? v : v - range / 2;
        });
        // More values than one conversion run, starting before the stream and ending after it.
        const CSection section(-100, 3100);
        std::unique_ptr<CPeakData> peaks(stream->ReadPeaks(section, false));
        std::unique_ptr<CMediaData> samples(stream->ReadFrames(section));
        ASSERT_EQ(peaks->GetCount(), 3200) << bits;
        ASSERT_EQ(peaks->GetChannels(), 2);
        EXPECT_EQ(peaks->GetFramesPerRow(), 1);
        for (int64_t i = 0; i < 3200 * 2; ++i) {
            ASSERT_EQ(peaks->GetData()[i].minimum, samples->GetFloats()[i]) << bits << " " << i;
            ASSERT_EQ(peaks->GetData()[i].maximum, samples->GetFloats()[i]) << bits << " " << i;
        }
    }
}

TEST_F(PCMAudioTest, ReadPeaks_BlockMode_ReadsRowsFromThePeakSource_AndSeesRowsWrittenSince) {
    const std::string path = home.root + "/growing.wav";
    const WAVEFORMATEX format = test::PcmFormat(2, 44100, 16);
    test::WriteWav(path, format, 256 * 8, Ramp16);
    IBasicIO* peak = peaks.CreatePeakFile("");
    std::vector<float> rows(8 * 2 * 2);
    for (size_t i = 0; i < rows.size(); ++i)
        rows[i] = static_cast<float>(i + 1);
    ASSERT_TRUE(peak->Write(rows.data(), 4 * 16)); // rows 0-3, as a scan under way has them
    CPCMAudio stream;
    ASSERT_TRUE(stream.Attach(test::OpenWavSamples(path, format), peak));

    std::unique_ptr<CPeakData> early(stream.ReadPeaks(CSection(0, 256 * 8), true));
    ASSERT_EQ(early->GetCount(), 8);
    EXPECT_EQ(early->GetFramesPerRow(), 256);
    EXPECT_EQ(early->Row(3)[1].maximum, 16.0f);
    EXPECT_EQ(early->Row(5)[0].minimum, 0.0f); // not written yet
    std::unique_ptr<CPeakData> small(stream.ReadPeaks(CSection(512, 600), true));
    ASSERT_EQ(small->GetCount(), 1);
    EXPECT_EQ(small->Row(0)[1].minimum, 11.0f);

    // The scan goes on, as it writes: lock, seek, write.
    peak->Lock();
    peak->Seek(4 * 16);
    ASSERT_TRUE(peak->Write(rows.data() + 16, 4 * 16));
    peak->Unlock();
    std::unique_ptr<CPeakData> later(stream.ReadPeaks(CSection(256 * 2, 256 * 8), true));
    ASSERT_EQ(later->GetCount(), 6);
    EXPECT_EQ(later->Row(0)[0].minimum, 9.0f);  // row 2, from before
    EXPECT_EQ(later->Row(3)[0].minimum, 21.0f); // row 5, written since
    EXPECT_EQ(later->Row(5)[1].maximum, 32.0f);
    std::unique_ptr<CPeakData> some(stream.ReadPeaks(CSection(256 * 3 + 10, 256 * 6), true));
    ASSERT_EQ(some->GetCount(), 2);            // (1536 - 778) / 256
    EXPECT_EQ(some->Row(0)[0].minimum, 13.0f); // row 3, channel 0
    EXPECT_EQ(some->Row(1)[1].maximum, 20.0f); // row 4, channel 1
}

TEST_F(PCMAudioTest, Attach_UnusableFormat_IsRefused) {
    const std::string path = home.root + "/bad.wav";
    WAVEFORMATEX format = test::PcmFormat(2, 44100, 16);
    test::WriteWav(path, format, 100, Ramp16);
    for (auto damage :
         {+[](WAVEFORMATEX& f) { f.nBlockAlign = 0; }, +[](WAVEFORMATEX& f) { f.nChannels = 0; },
          +[](WAVEFORMATEX& f) { f.nBlockAlign = 1; }, +[](WAVEFORMATEX& f) { f.nChannels = 9; },
          +[](WAVEFORMATEX& f) { f.wBitsPerSample = 12; }}) {
        WAVEFORMATEX damaged = format;
        damage(damaged);
        CPCMAudio stream;
        IBasicIO* data = test::OpenWavSamples(path, format);
        data->Format = damaged;
        EXPECT_FALSE(stream.Attach(data, peaks.CreatePeakFile("")));
    }
}

TEST_F(PCMAudioTest, Attach_PeakFolderUnusable_ShowsThePeakMessageAndFails) {
    const std::string path = home.root + "/nopeaks.wav";
    const WAVEFORMATEX format = test::PcmFormat(1, 44100, 16);
    test::WriteWav(path, format, 1000, Ramp16);
    std::ofstream(home.root + "/file") << "x";
    PutSettingString("Directories", "PeakFiles", home.root + "/file/peaks");
    auto presentation = std::make_shared<CHeadlessPresentation>();
    SetPresentation(presentation);

    CPCMAudio stream;
    EXPECT_FALSE(stream.Attach(test::OpenWavSamples(path, format)));
    SetPresentation(std::make_shared<CHeadlessPresentation>());
    ASSERT_EQ(presentation->Boxes().size(), 1u);
    EXPECT_EQ(presentation->Boxes()[0],
              "Unable to create peak file. Source disk is probably full or read only "
              "(i.e. CD-ROM), or the peak file directory is invalid.");
}

TEST_F(PCMAudioTest, Attach_WithoutPeakSource_BuildsThePeakFileOfTheSource) {
    const std::string path = home.root + "/build.wav";
    const WAVEFORMATEX format = test::PcmFormat(1, 44100, 16);
    test::WriteWav(path, format, 256 * 3 + 5, [](int64_t f, int) { return f == 300 ? 32767 : 0; });
    CPCMAudio stream;
    ASSERT_TRUE(stream.Attach(test::OpenWavSamples(path, format)));
    std::unique_ptr<CPeakData> rows(stream.ReadPeaks(CSection(0, 768), true));
    ASSERT_EQ(rows->GetCount(), 3);
    EXPECT_EQ(rows->Row(0)[0].maximum, 0.0f);
    EXPECT_EQ(rows->Row(1)[0].maximum, 32767 / 32768.0f);
    EXPECT_EQ(test::ReadWholeFile(stream.GetPeakSource()->GetFileName()).size(),
              static_cast<size_t>(CPeakFileManager::HeaderSize(path) + 3 * 8));
}

} // namespace
} // namespace tw
