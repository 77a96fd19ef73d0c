// Reading a clip through IAudioReader and IVisualReader: channel mapping, rate conversion by linear
// interpolation, seeking, looping, handles, and curves.
#include "clip/ClipTestSupport.h"

#include <algorithm>
#include <numeric>

using namespace tw;
using namespace tw::test;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr float kLsb = 1.0f / 32768.0f;

// A distinct value per frame and channel that survives 16 bits exactly.
double Ramp(int64_t frame, int channel) {
    return static_cast<double>((frame * 7 + channel * 3000) % 20000 - 10000) / 32768.0;
}

class WaveClipReadTest : public ClipTest {
protected:
    ComPtr<IAbstractClip> RampClip(const std::string& name, int channels, int rate, int64_t frames) {
        const std::string path = PathOf(name);
        WriteWav16(path, channels, rate, frames, Ramp);
        return OpenClip(path);
    }
};

TEST_F(WaveClipReadTest, EqualFormatsCopyTheSamples) {
    ComPtr<IAbstractClip> clip = RampClip("ramp_44100_2ch.wav", 2, 44100, 5000);
    ASSERT_EQ(clip->SetRenderFormat(44100, 2), S_OK);
    const std::vector<float> samples = ReadAll(clip.get(), 5100, 2, 1000);
    for (int64_t f = 0; f < 5000; ++f)
        for (int c = 0; c < 2; ++c)
            ASSERT_EQ(samples[f * 2 + c], static_cast<float>(Ramp(f, c))) << f << " " << c;
    for (int64_t i = 5000 * 2; i < 5100 * 2; ++i)
        ASSERT_EQ(samples[i], 0.0f) << "silence behind the end";
}

TEST_F(WaveClipReadTest, ChannelsMapByModuloWithoutDownmix) {
    ComPtr<IAbstractClip> mono = RampClip("ramp_mono.wav", 1, 44100, 3000);
    ASSERT_EQ(mono->SetRenderFormat(44100, 2), S_OK);
    const std::vector<float> both = ReadAll(mono.get(), 3000, 2);
    for (int64_t i = 0; i < 3000 * 2; ++i)
        ASSERT_EQ(both[i], static_cast<float>(Ramp(i / 2, 0))) << "the mono channel plays on both outputs";

    ComPtr<IAbstractClip> stereo = RampClip("ramp_stereo.wav", 2, 44100, 3000);
    ASSERT_EQ(stereo->SetRenderFormat(44100, 1), S_OK);
    const std::vector<float> left = ReadAll(stereo.get(), 3000, 1);
    for (int64_t f = 0; f < 3000; ++f)
        ASSERT_EQ(left[f], static_cast<float>(Ramp(f, 0))) << "a mono render takes the left channel alone";

    ASSERT_EQ(stereo->SetRenderFormat(44100, 5), S_OK);
    const std::vector<float> five = ReadAll(stereo.get(), 100, 5);
    for (int64_t f = 0; f < 100; ++f)
        for (int c = 0; c < 5; ++c)
            ASSERT_EQ(five[f * 5 + c], static_cast<float>(Ramp(f, c % 2)));
}

TEST_F(WaveClipReadTest, InterpolationWithinOneReadFollowsTheStatedPositions) {
    // 44100 to 48000: n output frames take m = int(n * ratio) source frames; frame i lies at
    // i * (m - 1) / (n - 1) between them.
    ComPtr<IAbstractClip> clip = RampClip("ramp_interp.wav", 1, 44100, 10000);
    ASSERT_EQ(clip->SetRenderFormat(48000, 1), S_OK);
    const int64_t n = 1000;
    const float ratio = 44100.0f / 48000.0f;
    const auto m = static_cast<int64_t>(static_cast<double>(n) * ratio);
    const std::vector<float> out = ReadAll(clip.get(), 2 * n, 1, n);
    const double step = static_cast<double>(m - 1) / static_cast<double>(n - 1);
    for (int block = 0; block < 2; ++block) {
        for (int64_t i = 0; i < n; ++i) {
            const double p = static_cast<double>(i) * step;
            const auto lo = static_cast<int64_t>(p);
            const auto hi = static_cast<int64_t>(std::ceil(p));
            const float a = static_cast<float>(Ramp(block * m + lo, 0));
            const float b = static_cast<float>(Ramp(block * m + hi, 0));
            const float w = static_cast<float>(static_cast<double>(hi) - p);
            const float expected = lo == hi ? a : b * (1.0f - w) + a * w;
            ASSERT_NEAR(out[block * n + i], expected, 1e-6f) << block << " " << i;
        }
    }
    // The first and last output frames of a read are source frames themselves.
    EXPECT_EQ(out[n - 1], static_cast<float>(Ramp(m - 1, 0)));
    EXPECT_EQ(out[n], static_cast<float>(Ramp(m, 0)))
        << "the next read starts where the last one's source ended";
}

TEST_F(WaveClipReadTest, ASineKeepsItsFrequencyAndLevelAtAnotherRateAndChannelCount) {
    const std::string path = PathOf("sine_44100_1ch.wav");
    const double hertz = 1000.0;
    WriteWav16(path, 1, 44100, 44100 * 2, [&](int64_t f, int) {
        return 0.5 * std::sin(2.0 * kPi * hertz * static_cast<double>(f) / 44100.0);
    });
    ComPtr<IAbstractClip> clip = OpenClip(path);
    ASSERT_EQ(clip->SetRenderFormat(48000, 2), S_OK);
    const int64_t frames = 48000;
    const std::vector<float> out = ReadAll(clip.get(), frames, 2, 1024);

    // Frequency from the rising zero crossings, placed between samples by interpolation.
    std::vector<double> crossings;
    double sumSquares = 0.0;
    for (int64_t i = 1; i < frames; ++i) {
        const float a = out[(i - 1) * 2];
        const float b = out[i * 2];
        ASSERT_EQ(out[i * 2 + 1], b) << "both outputs carry the mono source";
        if (a < 0.0f && b >= 0.0f)
            crossings.push_back(static_cast<double>(i - 1) + a / (a - b));
        sumSquares += static_cast<double>(b) * b;
    }
    ASSERT_GT(crossings.size(), 900u);
    const double periods = static_cast<double>(crossings.size() - 1);
    const double measured = periods * 48000.0 / (crossings.back() - crossings.front());
    // Each read takes a whole number of source frames, so the pitch is off by a few hundredths.
    EXPECT_NEAR(measured, hertz, hertz * 0.002);
    const double rms = std::sqrt(sumSquares / static_cast<double>(frames - 1));
    EXPECT_NEAR(rms, 0.5 / std::sqrt(2.0), 0.005);
}

TEST_F(WaveClipReadTest, SeekToTheHeldPositionLeavesTheCursorAlone) {
    ComPtr<IAbstractClip> clip = RampClip("ramp_seek.wav", 1, 44100, 20000);
    ASSERT_EQ(clip->SetRenderFormat(48000, 1), S_OK);
    ComPtr<IAudioReader> reader = Query<IAudioReader>(clip.get(), IID_IAudioReader);

    // Two reads of 1000 take 2 * 918 source frames; a seek to 2000 would stand at int(2000 * ratio).
    uint64_t continuous = 0;
    ASSERT_EQ(reader->Open(&continuous), S_OK);
    ReadFrames(reader.get(), continuous, 1000, 1);
    ReadFrames(reader.get(), continuous, 1000, 1);
    ASSERT_EQ(reader->Seek(continuous, 2000), S_OK);
    const std::vector<float> afterHeld = ReadFrames(reader.get(), continuous, 10, 1);
    EXPECT_EQ(afterHeld[0], static_cast<float>(Ramp(2 * 918, 0)));

    uint64_t sought = 0;
    ASSERT_EQ(reader->Open(&sought), S_OK);
    ASSERT_EQ(reader->Seek(sought, 2000), S_OK);
    const std::vector<float> afterSeek = ReadFrames(reader.get(), sought, 10, 1);
    const auto target = static_cast<int64_t>(2000.0 * static_cast<double>(44100.0f / 48000.0f));
    EXPECT_EQ(target, 1837);
    EXPECT_EQ(afterSeek[0], static_cast<float>(Ramp(target, 0)));

    // Readers are independent: seeking one back leaves the other where it is.
    ASSERT_EQ(reader->Seek(sought, 0), S_OK);
    EXPECT_EQ(ReadFrames(reader.get(), sought, 1, 1)[0], static_cast<float>(Ramp(0, 0)));
    // The continuous reader went on from its own place: ten frames took int(10 * ratio) = 9.
    EXPECT_EQ(ReadFrames(reader.get(), continuous, 1, 1)[0], static_cast<float>(Ramp(2 * 918 + 9, 0)));
    EXPECT_EQ(reader->Close(continuous), S_OK);
    EXPECT_EQ(reader->Close(sought), S_OK);
}

TEST_F(WaveClipReadTest, ALoopedLengthRepeatsTheClipWithoutAGap) {
    ComPtr<IAbstractClip> clip = RampClip("ramp_loop.wav", 2, 44100, 1000);
    ASSERT_EQ(clip->SetRenderFormat(44100, 2), S_OK);
    ASSERT_EQ(clip->SetLoopedLength(2500), S_OK);
    EXPECT_EQ(Looped(clip.get()), 2500);
    const std::vector<float> out = ReadAll(clip.get(), 3000, 2, 700);
    for (int64_t f = 0; f < 3000; ++f) {
        for (int c = 0; c < 2; ++c) {
            const float expected = f < 2500 ? static_cast<float>(Ramp(f % 1000, c)) : 0.0f;
            ASSERT_EQ(out[f * 2 + c], expected) << f << " " << c;
        }
    }

    // The curve covers the repetitions too.
    const std::vector<float> values = Curve(clip.get(), 1000, 2000, 1000);
    ASSERT_GE(values.size(), 2u);
    EXPECT_EQ(std::pair(values[0], values[1]), std::pair(float(Ramp(0, 0)), float(Ramp(0, 0))));

    // A looped length shorter than the clip leaves it whole.
    ASSERT_EQ(clip->SetLoopedLength(300), S_OK);
    const std::vector<float> whole = ReadAll(clip.get(), 1000, 2);
    EXPECT_EQ(whole[999 * 2], static_cast<float>(Ramp(999, 0)));
}

TEST_F(WaveClipReadTest, AHugeLoopOverATinyClipIsRefusedNotAttempted) {
    ComPtr<IAbstractClip> clip = RampClip("tiny.wav", 1, 44100, 2);
    ASSERT_EQ(clip->SetLoopedLength(int64_t(1) << 40), S_OK);
    ComPtr<IAudioReader> reader = Query<IAudioReader>(clip.get(), IID_IAudioReader);
    uint64_t handle = 7;
    EXPECT_EQ(reader->Open(&handle), E_OUTOFMEMORY);
    EXPECT_EQ(handle, 0u);
}

TEST_F(WaveClipReadTest, HandlesAndArraysAreChecked) {
    ComPtr<IAbstractClip> clip = RampClip("ramp_handles.wav", 2, 44100, 1000);
    ASSERT_EQ(clip->SetRenderFormat(44100, 2), S_OK);
    ComPtr<IAudioReader> reader = Query<IAudioReader>(clip.get(), IID_IAudioReader);
    EXPECT_EQ(reader->Open(nullptr), E_POINTER);
    uint64_t handle = 0;
    ASSERT_EQ(reader->Open(&handle), S_OK);

    // Unknown handles, no array, an array of shorts (samples are 4-byte floats) and a null array.
    SAFEARRAY* floats = SafeArrayCreateVector(VT_R4, 0, 8);
    SAFEARRAY* shorts = SafeArrayCreateVector(VT_I2, 0, 8);
    SAFEARRAY* empty = nullptr;
    EXPECT_EQ((std::vector<HRESULT>{reader->Read(handle + 8, &floats), reader->Read(0x1234, &floats),
                                    reader->Seek(0x1234, 0), reader->Read(handle, nullptr),
                                    reader->Read(handle, &shorts), reader->Read(handle, &empty)}),
              std::vector<HRESULT>(6, E_INVALIDARG));
    SafeArrayDestroy(shorts);

    // An array of an odd length fills the whole frames and silences the rest.
    SAFEARRAY* odd = SafeArrayCreateVector(VT_R4, 0, 5);
    static_cast<float*>(odd->pvData)[4] = 9.0f;
    ASSERT_EQ(reader->Read(handle, &odd), S_OK);
    EXPECT_EQ(static_cast<float*>(odd->pvData)[2], static_cast<float>(Ramp(1, 0)));
    EXPECT_EQ(static_cast<float*>(odd->pvData)[4], 0.0f);
    EXPECT_EQ(odd->cLocks, 0u) << "the array is unlocked after the read";
    SafeArrayDestroy(odd);

    EXPECT_EQ(reader->Close(handle), S_OK);
    EXPECT_EQ(reader->Close(handle), E_INVALIDARG);
    EXPECT_EQ(reader->Read(handle, &floats), E_INVALIDARG);
    SafeArrayDestroy(floats);
}

TEST_F(WaveClipReadTest, ReadersOpenedBeforeAReloadKeepTheirCopy) {
    ComPtr<IAbstractClip> clip = RampClip("ramp_before.wav", 1, 44100, 4000);
    ASSERT_EQ(clip->SetRenderFormat(44100, 1), S_OK);
    ComPtr<IAudioReader> reader = Query<IAudioReader>(clip.get(), IID_IAudioReader);
    uint64_t handle = 0;
    ASSERT_EQ(reader->Open(&handle), S_OK);

    const std::string other = PathOf("other.wav");
    WriteWav16(other, 1, 44100, 100, [](int64_t, int) { return 0.25; });
    ASSERT_EQ(clip->OpenFile(Bstr(other)), S_OK);
    const std::vector<float> samples = ReadFrames(reader.get(), handle, 4000, 1);
    EXPECT_EQ(samples[3999], static_cast<float>(Ramp(3999, 0)));
    EXPECT_EQ(reader->Close(handle), S_OK);
    EXPECT_EQ(ReadAll(clip.get(), 1, 1)[0], 0.25f);
}

TEST_F(WaveClipReadTest, CurveColumnsHoldMinimumAndMaximumPerChannel) {
    // Left: a loud square in the first half, silence in the second; right: a quiet one throughout.
    const std::string path = PathOf("curve.wav");
    const int64_t frames = 256 * 1000;
    WriteWav16(path, 2, 44100, frames, [&](int64_t f, int c) {
        const double sign = (f / 64) % 2 ? 1.0 : -1.0;
        if (c == 0)
            return f < frames / 2 ? 0.75 * sign : 0.0;
        return 0.125 * sign;
    });
    ComPtr<IAbstractClip> clip = OpenClip(path);
    ASSERT_EQ(clip->SetRenderFormat(44100, 1), S_OK);
    // Per-column reads, merged file peaks, fine peaks; the source's channels count. Each column holds
    // left min, left max, right min, right max.
    for (int32_t width : {2, 500, 1000}) {
        const std::vector<float> v = Curve(clip.get(), 0, frames, width);
        ASSERT_EQ(v.size(), static_cast<size_t>(2 * width * 2)) << width;
        for (int32_t col = 0; col < width; ++col) {
            const float loud = col < width / 2 ? 0.75f : 0.0f;
            EXPECT_EQ(std::vector<float>(&v[col * 4], &v[col * 4 + 4]),
                      (std::vector<float>{-loud, loud, -0.125f, 0.125f}))
                << width << " " << col;
        }
    }
    // An empty range has no curve; the end of a range is at least frame 1.
    ComPtr<IVisualReader> visual = Query<IVisualReader>(clip.get(), IID_IVisualReader);
    SAFEARRAY* curve = nullptr;
    EXPECT_EQ(visual->GetCurve(500, 500, 4, &curve), E_FAIL);
    EXPECT_EQ(visual->GetCurve(0, 100, 10, nullptr), E_POINTER);
    const std::vector<float> one = Curve(clip.get(), 0, 0, 1);
    ASSERT_EQ(one.size(), 4u);
    EXPECT_EQ(one[0], -0.75f);
}

TEST_F(WaveClipReadTest, CurvesFollowTheRenderRate) {
    ComPtr<IAbstractClip> clip = RampClip("ramp_curve_rate.wav", 1, 22050, 22050);
    ASSERT_EQ(clip->SetRenderFormat(44100, 1), S_OK);
    // Render frames 20000..20010 are source frames 10000..10005: one column per source frame.
    const std::vector<float> v = Curve(clip.get(), 20000, 20010, 5);
    ASSERT_EQ(v.size(), 10u);
    for (int col = 0; col < 5; ++col)
        EXPECT_EQ(std::pair(v[col * 2], v[col * 2 + 1]),
                  std::pair(float(Ramp(10000 + col, 0)), float(Ramp(10000 + col, 0))));
}

} // namespace
