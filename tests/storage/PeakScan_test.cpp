#include "PeakTestSupport.h"

#include "core/PeakData.h"
#include "platform/File.h"
#include "platform/ModalDialog.h"
#include "platform/Presentation.h"
#include "storage/PCMAudio.h"
#include "storage/PeakFileManager.h"
#include "storage/ScanThread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <thread>

namespace tw {
namespace {

// The walk as a person would write it from the description.
void NaiveRow(const float* samples, int channels, int frames, std::vector<float>& row) {
    row.assign(static_cast<size_t>(channels) * 2, 0.0f);
    for (int c = 0; c < channels; ++c) {
        float mn = 1.0f, mx = -1.0f;
        for (int f = 0; f < frames; ++f) {
            const float v = samples[f * channels + c];
            if (v < mn)
                mn = v;
            if (v > mx)
                mx = v;
        }
        row[2 * c] = mn;
        row[2 * c + 1] = mx;
    }
}

TEST(ScanBlock, EqualsTheNaiveWalkBitForBit_ForEveryChannelCount) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> value(-1.5f, 1.5f);
    for (int channels = 1; channels <= 8; ++channels) {
        for (int variant = 0; variant < 6; ++variant) {
            std::vector<float> block(256 * channels);
            for (float& v : block)
                v = value(random);
            if (variant == 1) // quiet: every sample inside (-1, 1) but all of one sign
                for (float& v : block)
                    v = std::abs(v) * 0.1f;
            if (variant == 2) // signed zeros are the extremes: the first one met must win
                for (size_t i = 0; i < block.size(); ++i)
                    block[i] = (i * 31 % 7 == 0) ? -0.0f : (i % 3 == 0 ? 0.0f : 0.5f);
            if (variant == 3)
                std::fill(block.begin(), block.end(), 1.0f);
            if (variant == 4) // digital silence
                std::fill(block.begin(), block.end(), 0.0f);
            if (variant == 5)
                block[block.size() / 2] = std::nanf("");

            std::vector<float> expected;
            NaiveRow(block.data(), channels, 256, expected);
            std::vector<float> minimum(channels), maximum(channels), row;
            CScanThread::ScanBlock(block.data(), channels, 256, minimum.data(), maximum.data());
            for (int c = 0; c < channels; ++c) {
                row.push_back(minimum[c]);
                row.push_back(maximum[c]);
            }
            EXPECT_EQ(std::memcmp(row.data(), expected.data(), row.size() * sizeof(float)), 0)
                << channels << " channels, variant " << variant;
        }
    }
}

class PeakScanTest : public ::testing::Test {
protected:
    static int64_t Sample(int64_t frame, int channel) {
        // A pattern with its extremes at varying places in each block, and the full range.
        const int64_t v = ((frame * 7919 + channel * 104729) % 65536) - 32768;
        return frame % 1000 == 0 ? (channel ? 32767 : -32768) : v / (1 + (frame / 256) % 5);
    }

    // A stream over a generated WAV with an empty peak file of its own.
    std::unique_ptr<CPCMAudio> MakeStream(int64_t frames, int channels, IBasicIO*& peak) {
        const std::string path = home.root + "/scan.wav";
        const WAVEFORMATEX format = test::PcmFormat(channels, 44100, 16);
        test::WriteWav(path, format, frames, Sample);
        peak = peaks.CreatePeakFile(path);
        auto stream = std::make_unique<CPCMAudio>();
        EXPECT_TRUE(stream->Attach(test::OpenWavSamples(path, format), peak));
        return stream;
    }

    test::ScratchHome home;
    CPeakFileManager peaks;
};

TEST_F(PeakScanTest, Run_WritesOneRowPerFullBlock_EqualToANaiveComputation) {
    const int channels = 2;
    const int64_t frames = 256 * 150 + 100; // more than two runs, and a partial block at the end
    IBasicIO* peak = nullptr;
    auto stream = MakeStream(frames, channels, peak);
    const std::string name = peak->GetFileName();

    CScanThread scan(stream.get(), peak, name);
    EXPECT_EQ(scan.GetTitle(), "Creating Peak File");
    ASSERT_EQ(scan.Execute(), 0);
    EXPECT_EQ(scan.GetProgress(), double(256 * 150) / double(frames));

    const std::vector<uint8_t> bytes = test::ReadWholeFile(name);
    const size_t header = static_cast<size_t>(CPeakFileManager::HeaderSize(home.root + "/scan.wav"));
    ASSERT_EQ(bytes.size(), header + 150 * channels * 8);
    std::vector<float> block(256 * channels), expected;
    for (int64_t b = 0; b < 150; ++b) {
        for (int f = 0; f < 256; ++f)
            for (int c = 0; c < channels; ++c)
                block[f * channels + c] = static_cast<float>(Sample(b * 256 + f, c)) / 32768.0f;
        NaiveRow(block.data(), channels, 256, expected);
        ASSERT_EQ(std::memcmp(&bytes[header + b * channels * 8], expected.data(), channels * 8), 0) << b;
    }
}

TEST_F(PeakScanTest, Run_WhileTheDisplayReadsRows_BothSeeConsistentRows) {
    const std::string path = home.root + "/background.wav";
    const WAVEFORMATEX format = test::PcmFormat(2, 44100, 16);
    const int64_t frames = 256 * 2000;
    test::WriteWav(path, format, frames, Sample);
    CPCMAudio stream;
    stream.SetFileName(path);
    CScanThread* scan = nullptr;
    ASSERT_TRUE(stream.AttachBackground(test::OpenWavSamples(path, format), nullptr, scan));
    ASSERT_NE(scan, nullptr);
    std::unique_ptr<CScanThread> owned(scan);

    std::thread worker([&] { scan->Execute(); });
    // Rows not yet written read as zeros; written rows must never come back torn.
    int reads = 0;
    while (!scan->IsFinished() || reads < 10) {
        std::unique_ptr<CPeakData> rows(stream.ReadPeaks(CSection(0, frames), true));
        ASSERT_EQ(rows->GetCount(), 2000);
        for (int r = 0; r < rows->GetCount(); r += 97) {
            const PeakPair pair = rows->Row(r)[1];
            EXPECT_TRUE((pair.minimum == 0.0f && pair.maximum == 0.0f) || pair.minimum <= pair.maximum) << r;
        }
        ++reads;
    }
    worker.join();
    EXPECT_EQ(owned->m_result.load(), 0);

    std::unique_ptr<CPeakData> rows(stream.ReadPeaks(CSection(0, frames), true));
    std::unique_ptr<CPeakData> fine(stream.ReadPeaks(CSection(256 * 1234, 256 * 1235), false));
    float mn = 1.0f, mx = -1.0f;
    for (int f = 0; f < 256; ++f) {
        mn = std::min(mn, fine->Row(f)[0].minimum);
        mx = std::max(mx, fine->Row(f)[0].maximum);
    }
    EXPECT_EQ(rows->Row(1234)[0].minimum, mn);
    EXPECT_EQ(rows->Row(1234)[0].maximum, mx);
}

TEST_F(PeakScanTest, UnderOneBlockLeavesTheHeaderAlone_AndACancelRemovesThePeakFile) {
    IBasicIO* peak = nullptr;
    auto stream = MakeStream(255, 1, peak);
    CScanThread scan(stream.get(), peak, peak->GetFileName());
    EXPECT_EQ(scan.Execute(), 0);
    EXPECT_EQ(test::ReadWholeFile(peak->GetFileName()).size(),
              static_cast<size_t>(CPeakFileManager::HeaderSize(home.root + "/scan.wav")));
    auto longer = MakeStream(256 * 10, 2, peak);
    const std::string name = peak->GetFileName();
    CScanThread cancelled(longer.get(), peak, name);
    EXPECT_TRUE(cancelled.Cancel());
    EXPECT_EQ(cancelled.Execute(), 2);
    EXPECT_FALSE(CFile::Exists(name));
}

// Holds every read of the samples until the gate opens: the scan cannot finish before the person
// has answered the progress dialog, however the threads are scheduled.
class GatedIO : public test::CountingIO {
public:
    GatedIO(IBasicIO* inner, const std::atomic<bool>& gate) : CountingIO(inner), m_gate(gate) {}
    bool Read(void* target, uint32_t count) override {
        while (!m_gate.load())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return CountingIO::Read(target, count);
    }

private:
    const std::atomic<bool>& m_gate;
};

TEST_F(PeakScanTest, BuildModal_UserCancels_GivesNullAndNoFile) {
    const std::string path = home.root + "/modal.wav";
    const WAVEFORMATEX format = test::PcmFormat(2, 44100, 16);
    test::WriteWav(path, format, 44100 * 10, Sample);
    std::atomic<bool> answered{false};
    auto presentation = std::make_shared<CHeadlessPresentation>();
    presentation->OnDialog("Progress", [&answered](CModalDialog& dialog) {
        dialog.OnCancel();
        answered = true;
    });
    SetPresentation(presentation);

    auto stream = std::make_unique<CPCMAudio>();
    stream->SetFileName(path);
    EXPECT_FALSE(stream->Attach(new GatedIO(test::OpenWavSamples(path, format), answered)));
    SetPresentation(std::make_shared<CHeadlessPresentation>());
    EXPECT_TRUE(answered.load());

    uint32_t slot = 0;
    EXPECT_EQ(peaks.FindPeakFile(path, slot, false), nullptr);
    EXPECT_FALSE(CFile::Exists(peaks.SlotName(CPeakFileManager::Hash(path))));
    ASSERT_FALSE(presentation->Boxes().empty());
    EXPECT_NE(presentation->Boxes().back().find("Unable to create peak file"), std::string::npos);
}

TEST_F(PeakScanTest, OpenOrBuild_SecondOpen_FindsTheFileWithoutAScan) {
    const std::string path = home.root + "/twice.wav";
    const WAVEFORMATEX format = test::PcmFormat(1, 8000, 16);
    test::WriteWav(path, format, 256 * 4, Sample);

    auto first = std::make_unique<CPCMAudio>();
    first->SetFileName(path);
    CScanThread* scan = nullptr;
    ASSERT_TRUE(first->AttachBackground(test::OpenWavSamples(path, format), nullptr, scan));
    ASSERT_NE(scan, nullptr);
    EXPECT_EQ(scan->Execute(), 0);
    delete scan;

    auto second = std::make_unique<CPCMAudio>();
    second->SetFileName(path);
    ASSERT_TRUE(second->AttachBackground(test::OpenWavSamples(path, format), nullptr, scan));
    EXPECT_EQ(scan, nullptr);
    std::unique_ptr<CPeakData> fromFile(second->ReadPeaks(CSection(256, 768), true));
    std::unique_ptr<CPeakData> fromSamples(second->ReadPeaks(CSection(256, 512), false));
    ASSERT_EQ(fromFile->GetCount(), 2);
    float mn = 1.0f, mx = -1.0f;
    for (int i = 0; i < fromSamples->GetCount(); ++i) {
        mn = std::min(mn, fromSamples->GetData()[i].minimum);
        mx = std::max(mx, fromSamples->GetData()[i].maximum);
    }
    EXPECT_EQ(fromFile->GetData()[0].minimum, mn);
    EXPECT_EQ(fromFile->GetData()[0].maximum, mx);
}

} // namespace
} // namespace tw
