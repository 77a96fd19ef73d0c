// Tempo of generated click tracks: bursts of noise, which carry the high band the estimate
// listens to, at a fixed number of beats per minute.
#include "dsp/TempoEstimate.h"

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/MediaStream.h"
#include "dsp/DspTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace tw {
namespace {

// Stereo, 44.1 kHz; channel 1 stays silent so that only channel 0 can carry the beat.
CMediaStream* Clicks(double seconds, double bpm) {
    const int rate = 44100;
    const auto frames = static_cast<int64_t>(seconds * rate);
    std::vector<float> samples(static_cast<size_t>(frames * 2), 0.0f);
    uint32_t noise = 2024;
    for (double at = 0.0; at < static_cast<double>(frames); at += 60.0 * rate / bpm) {
        for (int64_t i = 0, first = static_cast<int64_t>(at); i < 300 && first + i < frames; ++i) {
            noise = noise * 1664525u + 1013904223u;
            const double v = (static_cast<int32_t>(noise >> 8) / 8388608.0 - 1.0) * std::exp(-i / 60.0);
            samples[static_cast<size_t>((first + i) * 2)] = static_cast<float>(0.8 * v);
        }
    }
    return new test::SampleStream(std::move(samples), 2, rate);
}

float Tempo(double seconds, double bpm, int64_t position, bool exact) {
    CEditedMedia media;
    if (seconds > 0)
        media.AddMedia(Clicks(seconds, bpm), 0);
    return EstimateTempo(media, position, exact);
}

TEST(EstimateTempo, FindsTheBeatOfClickTracks) {
    struct Case {
        double bpm;
        int64_t position;
    };
    for (const Case c : {Case{120.0, 44100}, Case{90.0, 0}, Case{150.0, 3 * 44100}}) {
        // The strongest period, within a few lags of 16 frames: the window over the envelope
        // leans the peak of the autocorrelation towards shorter lags.
        EXPECT_NEAR(Tempo(10.0, c.bpm, c.position, false), c.bpm, c.bpm * 0.003) << c.bpm;
        // Ten seconds hold a whole number of beats at these tempi, which the second way finds
        // exactly.
        EXPECT_NEAR(Tempo(10.0, c.bpm, c.position, true), c.bpm, 0.01) << c.bpm;
    }
}

TEST(EstimateTempo, AWindowRunningOutReadsTheLastWindow_AShortDocumentGivesZero_SilenceStaysInRange) {
    EXPECT_NEAR(Tempo(3.0, 120.0, 2 * 44100, false), 120.0, 0.2);
    EXPECT_NEAR(Tempo(3.0, 120.0, 1000000, false), 120.0, 0.2);
    // Shorter than a second, empty, and between one second and the power-of-two window (1.49 s at
    // 44.1 kHz): too short.
    for (const double seconds : {0.9, 0.0, 1.2})
        for (const bool exact : {false, true})
            EXPECT_EQ(Tempo(seconds, 120.0, 0, exact), 0.0f) << seconds;
    // One click at the start, then nothing.
    const float tempo = Tempo(5.0, 1.0, 44100, false);
    EXPECT_GE(tempo, 60.0f);
    EXPECT_LE(tempo, 181.0f);
}

} // namespace
} // namespace tw
