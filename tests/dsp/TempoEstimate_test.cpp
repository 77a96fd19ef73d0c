// Tempo of generated click tracks: bursts of noise, which carry the high band the estimate
// listens to, at a fixed number of beats per minute.
#include "dsp/TempoEstimate.h"

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/MediaStream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace tw {
namespace {

// Stereo, 44.1 kHz; channel 1 stays silent so that only channel 0 can carry the beat.
class ClickStream : public CMediaStream {
public:
    ClickStream(double seconds, double bpm, int rate = 44100) {
        WAVEFORMATEX native{};
        native.wFormatTag = WAVE_FORMAT_PCM;
        native.nChannels = 2;
        native.nSamplesPerSec = static_cast<uint32_t>(rate);
        native.wBitsPerSample = 16;
        native.nBlockAlign = 4;
        native.nAvgBytesPerSec = 4u * static_cast<uint32_t>(rate);
        m_native = native;
        m_format = WorkingFormatOf(native);
        const int64_t frames = static_cast<int64_t>(seconds * rate);
        m_samples.assign(static_cast<size_t>(frames * 2), 0.0f);
        const double period = 60.0 * rate / bpm;
        uint32_t noise = 2024;
        for (double at = 0.0; at < static_cast<double>(frames); at += period) {
            const auto first = static_cast<int64_t>(at);
            for (int64_t i = 0; i < 300 && first + i < frames; ++i) {
                noise = noise * 1664525u + 1013904223u;
                const double v = (static_cast<int32_t>(noise >> 8) / 8388608.0 - 1.0) * std::exp(-i / 60.0);
                m_samples[static_cast<size_t>((first + i) * 2)] = static_cast<float>(0.8 * v);
            }
        }
    }
    int32_t GetFrameSize() override { return 8; }
    int64_t GetLength() override { return static_cast<int64_t>(m_samples.size() / 2); }
    CMediaData* ReadFrames(CSection s) override {
        auto* block = new CMediaData(s.SectionLength(), 8);
        float* out = block->GetFloats();
        for (int64_t f = 0; f < s.SectionLength(); ++f)
            for (int c = 0; c < 2; ++c) {
                const int64_t frame = s.m_start + f;
                out[f * 2 + c] =
                    frame >= 0 && frame < GetLength() ? m_samples[static_cast<size_t>(frame * 2 + c)] : 0.0f;
            }
        return block;
    }
    CPeakData* ReadPeaks(CSection, bool) override { return nullptr; }
    const WAVEFORMATEX* GetFormat() override { return &m_format; }
    const WAVEFORMATEX* GetNativeFormat() override { return &m_native; }
    bool IsGenerated() override { return true; }

private:
    std::vector<float> m_samples;
    WAVEFORMATEX m_native{}, m_format{};
};

TEST(EstimateTempo, FindsTheBeatOfClickTracks) {
    struct Case {
        double bpm;
        int64_t position;
    };
    for (const Case c : {Case{120.0, 44100}, Case{90.0, 0}, Case{150.0, 3 * 44100}}) {
        CEditedMedia media;
        media.AddMedia(new ClickStream(10.0, c.bpm), 0);
        // The strongest period, within a few lags of 16 frames: the window over the envelope
        // leans the peak of the autocorrelation towards shorter lags.
        EXPECT_NEAR(EstimateTempo(media, c.position, false), c.bpm, c.bpm * 0.003) << c.bpm;
        // Ten seconds hold a whole number of beats at these tempi, which the second way finds
        // exactly.
        EXPECT_NEAR(EstimateTempo(media, c.position, true), c.bpm, 0.01) << c.bpm;
    }
}

TEST(EstimateTempo, AWindowRunningOutReadsTheLastWindowInstead) {
    CEditedMedia media;
    media.AddMedia(new ClickStream(3.0, 120.0), 0);
    EXPECT_NEAR(EstimateTempo(media, 2 * 44100, false), 120.0, 0.2);
    EXPECT_NEAR(EstimateTempo(media, 1000000, false), 120.0, 0.2);
}

TEST(EstimateTempo, ADocumentShorterThanItsWindowGivesZero) {
    CEditedMedia media;
    media.AddMedia(new ClickStream(0.9, 120.0), 0);
    EXPECT_EQ(EstimateTempo(media, 0, false), 0.0f);
    EXPECT_EQ(EstimateTempo(media, 0, true), 0.0f);
    CEditedMedia empty;
    EXPECT_EQ(EstimateTempo(empty, 0, false), 0.0f);
    // Between one second and the power-of-two window (1.49 s at 44.1 kHz) it is still too short.
    CEditedMedia second;
    second.AddMedia(new ClickStream(1.2, 120.0), 0);
    EXPECT_EQ(EstimateTempo(second, 0, false), 0.0f);
}

TEST(EstimateTempo, SilenceAndSlowBeatsStayWithinTheRange) {
    CEditedMedia media;
    media.AddMedia(new ClickStream(5.0, 1.0), 0); // one click at the start, then nothing
    const float tempo = EstimateTempo(media, 44100, false);
    EXPECT_GE(tempo, 60.0f);
    EXPECT_LE(tempo, 181.0f);
}

} // namespace
} // namespace tw
