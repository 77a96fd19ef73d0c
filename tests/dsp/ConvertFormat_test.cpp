// Whole-document conversion: lengths cut to whole input blocks, the channel mappers from the
// surround module, the results for what cannot be converted, and the progress dialog's view.
#include "dsp/ConvertFormat.h"

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/MediaStream.h"
#include "core/PeakData.h"
#include "core/StreamOut.h"
#include "dsp/DspTestSupport.h"
#include "platform/ComRegistry.h"
#include "storage/MemoryOut.h"

#include <tidework/surround.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

namespace tw {
namespace {

// A tone of 1 kHz at half scale on every channel.
CMediaStream* Tone(int32_t rate, int32_t channels, int64_t frames) {
    std::vector<float> samples(static_cast<size_t>(frames * channels));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(0.5 * std::sin(2 * M_PI * 1000.0 * double(i / channels) / rate));
    return new test::SampleStream(std::move(samples), channels, static_cast<uint32_t>(rate));
}

WAVEFORMATEX Target(int32_t rate, int32_t channels) {
    return test::Format(channels, static_cast<uint32_t>(rate));
}

// Keeps the float frames it gets and lets a test act on each write.
class CollectingSink : public CStreamOut {
public:
    int32_t Write(CMediaData& block) override {
        samples.insert(samples.end(), block.GetFloats(), block.GetFloats() + block.GetByteCount() / 4);
        frameSizes.push_back(block.GetFrameSize());
        m_bytes += block.GetByteCount();
        return onWrite ? onWrite() : 0;
    }
    int32_t GetBytesWritten() override { return m_bytes; }

    std::vector<float> samples;
    std::vector<int32_t> frameSizes;
    std::function<int32_t()> onWrite;

private:
    int32_t m_bytes = 0;
};

// Stands in for the up-mix class while `refuse` holds; otherwise the module's class answers.
std::atomic<bool> g_refuseUpMix{false};

struct RefusingFactory : IClassFactory {
    HRESULT QueryInterface(const GUID&, void** out) override {
        *out = this;
        return S_OK;
    }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    HRESULT CreateInstance(IUnknown*, const GUID&, void** out) override {
        *out = nullptr;
        return E_FAIL;
    }
    HRESULT LockServer(int32_t) override { return S_OK; }
};

HRESULT RefusingUpMix(const IID&, void** out) {
    static RefusingFactory factory;
    if (!g_refuseUpMix.load())
        return CLASS_E_CLASSNOTAVAILABLE;
    *out = &factory;
    return S_OK;
}

class ConvertFormatTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { RegisterClassObject(CLSID_UpMix, &RefusingUpMix, "Refusing up-mix"); }
    void TearDown() override { g_refuseUpMix = false; }
};

TEST_F(ConvertFormatTest, LengthIsWholeInputBlocksEachTruncated) {
    // 9216 stereo frames make an input block; 44.1 to 48 kHz gives 10031 frames of each.
    const struct {
        int32_t fromRate, toRate;
        int64_t frames, outFrames;
    } cases[] = {
        {44100, 48000, 100000, 10 * 10031}, // 7840 frames left unconverted
        {48000, 44100, 9216 * 3, 3 * 8467},
        {44100, 44100, 70000, 7 * 9216},
        {44100, 48000, 9215, 0}, // shorter than one block: nothing
    };
    for (const auto& c : cases) {
        CEditedMedia media;
        media.AddMedia(Tone(c.fromRate, 2, c.frames), 0);
        std::vector<uint8_t> image(4 << 20);
        CMemoryOut sink;
        const WAVEFORMATEX target = Target(c.toRate, 2);
        ASSERT_EQ(sink.AttachWithHeader(image.data(), static_cast<uint32_t>(image.size()), target), 0);
        CConvertFormat task(media, sink);
        task.SetFormat(target);
        EXPECT_EQ(task.Execute(), CConvertFormat::kOk);
        const int64_t frames = (sink.GetBytesWritten() - 46) / 4;
        EXPECT_EQ(frames, c.outFrames) << c.fromRate << ">" << c.toRate << " " << c.frames;
        // Short of the exact length by less than one input block's worth.
        const double exact = static_cast<double>(c.frames) * c.toRate / c.fromRate;
        EXPECT_LT(exact - frames, 9216.0 * c.toRate / c.fromRate + 1);
        EXPECT_EQ(task.GetProgress(), 1.0);
    }
}

TEST_F(ConvertFormatTest, MapsChannelsThroughTheSurroundModule) {
    const struct { int32_t from, to; } cases[] = {{6, 2}, {2, 1}, {1, 2}, {2, 6}};
    for (const auto& c : cases) {
        CEditedMedia media;
        media.AddMedia(Tone(48000, c.from, 48000), 0);
        CollectingSink sink;
        CConvertFormat task(media, sink);
        task.SetFormat(Target(44100, c.to));
        ASSERT_EQ(task.Execute(), CConvertFormat::kOk) << c.from << ">" << c.to;
        ASSERT_FALSE(sink.samples.empty()) << c.from << ">" << c.to;
        for (int32_t size : sink.frameSizes)
            EXPECT_EQ(size, c.to * 4);
        float peak = 0.0f;
        for (float v : sink.samples)
            peak = std::max(peak, std::fabs(v));
        EXPECT_GT(peak, 0.1f) << c.from << ">" << c.to;
    }
}

TEST_F(ConvertFormatTest, DownMixModeReachesTheRenderer) {
    // The virtual modes add a head response; the standard down-mix does not.
    std::vector<float> outputs[2];
    for (int32_t mode : {0, 1}) {
        CEditedMedia media;
        media.AddMedia(Tone(48000, 6, 48000), 0);
        CollectingSink sink;
        CConvertFormat task(media, sink);
        task.SetFormat(Target(44100, 2));
        task.SetDownMixMode(mode);
        ASSERT_EQ(task.Execute(), CConvertFormat::kOk);
        outputs[mode] = sink.samples;
    }
    EXPECT_NE(outputs[0], outputs[1]);
}

TEST_F(ConvertFormatTest, ResultsForWhatCannotBeConverted) {
    const struct {
        const char* what;
        int32_t channels, targetChannels; // 0: no source; no target format
        bool refuseUpMix;
        int32_t result;
    } cases[] = {{"an empty document", 0, 2, false, CConvertFormat::kNoFormat},
                 {"no target format", 2, 0, false, CConvertFormat::kNoFormat},
                 // A component folder whose up-mix class cannot be made.
                 {"no up-mix", 2, 6, true, CConvertFormat::kNoMapper},
                 // The renderer is made but refuses to fold ten channels, more than it knows.
                 {"ten channels", 10, 2, false, CConvertFormat::kNoMapper}};
    for (const auto& c : cases) {
        CEditedMedia media;
        if (c.channels > 0)
            media.AddMedia(Tone(44100, c.channels, 20000), 0);
        CollectingSink sink;
        CConvertFormat task(media, sink);
        g_refuseUpMix = c.refuseUpMix;
        if (c.targetChannels > 0)
            task.SetFormat(Target(48000, c.targetChannels));
        EXPECT_EQ(task.Execute(), c.result) << c.what;
        EXPECT_TRUE(sink.samples.empty()) << c.what;
    }
}

TEST_F(ConvertFormatTest, SinkFailureEndsTheRunWithItsResult) {
    CEditedMedia media;
    media.AddMedia(Tone(44100, 2, 200000), 0);
    CollectingSink sink;
    sink.onWrite = [] { return 7; };
    CConvertFormat task(media, sink);
    task.SetFormat(Target(48000, 2));
    EXPECT_EQ(task.Execute(), 7);
    EXPECT_EQ(sink.frameSizes.size(), 1u);
}

TEST_F(ConvertFormatTest, CancelStopsAndProgressRises) {
    CEditedMedia media;
    media.AddMedia(Tone(44100, 2, 44100 * 20), 0);
    CollectingSink sink;
    CConvertFormat task(media, sink);
    EXPECT_EQ(task.GetTitle(), "Converting Sample Format");
    EXPECT_EQ(task.GetProgress(), 0.0);
    task.SetFormat(Target(48000, 2));
    std::vector<double> progress;
    sink.onWrite = [&] {
        progress.push_back(task.GetProgress());
        if (progress.size() == 20)
            task.Cancel();
        return 0;
    };
    EXPECT_EQ(task.Execute(), CConvertFormat::kOk);
    // Blocks already read still leave the ring; the next read never comes.
    EXPECT_LT(progress.back(), 0.5);
    EXPECT_LT(sink.frameSizes.size(), 30u);
    for (size_t i = 1; i < progress.size(); ++i)
        EXPECT_GE(progress[i], progress[i - 1]);
    EXPECT_GT(progress.back(), progress.front());
}

} // namespace
} // namespace tw
