#include "dsp/PauseDetection.h"

#include "core/LabelList.h"
#include "core/PeakData.h"
#include "dsp/DspTestSupport.h"
#include "dsp/SignalSections.h"
#include "platform/Settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <tuple>
#include <vector>

namespace tw {
namespace {

// 100 peak records per second keeps the expected block positions readable.
constexpr uint32_t kRate = 25600;
constexpr float kThreshold50dB = 0.0031622776f;

struct Segment {
    double seconds;
    float amplitude; // sine at 440 Hz; quiet segments carry a faint hiss of this amplitude
    bool tone;
};
Segment Tone(double seconds, float amplitude = 0.5f) {
    return {seconds, amplitude, true};
}
Segment Quiet(double seconds, float hiss = 0.001f) {
    return {seconds, hiss, false};
}

// Renders the segments to samples and reduces them to 256-frame peak rows, as a peak file holds.
class GeneratedAudio {
public:
    GeneratedAudio(std::initializer_list<Segment> segments, int32_t channels = 1) : m_channels(channels) {
        std::srand(7);
        for (const Segment& s : segments) {
            const auto frames = static_cast<int64_t>(std::llround(s.seconds * kRate));
            for (int64_t f = 0; f < frames; ++f) {
                const double t = static_cast<double>(m_samples.size() / channels) / kRate;
                for (int32_t c = 0; c < channels; ++c) {
                    const float noise = static_cast<float>(std::rand()) / RAND_MAX * 2.0f - 1.0f;
                    m_samples.push_back(
                        s.tone ? s.amplitude * static_cast<float>(std::sin(2 * std::numbers::pi * 440 * t))
                               : s.amplitude * noise);
                }
            }
        }
    }

    int64_t Length() const { return static_cast<int64_t>(m_samples.size()) / m_channels; }

    PauseDetectionInput Input() const {
        PauseDetectionInput input;
        input.rate = kRate;
        input.length = Length();
        input.readBlocks = [this](int64_t from, int64_t to) { return Peaks(from, to); };
        return input;
    }

private:
    CPeakData* Peaks(int64_t from, int64_t to) const {
        const auto rows = static_cast<int32_t>((to - from + 255) / 256);
        auto* peaks = new CPeakData;
        peaks->Allocate(rows, m_channels, 256);
        for (int32_t r = 0; r < rows; ++r) {
            for (int32_t c = 0; c < m_channels; ++c) {
                PeakPair pair{1.0f, -1.0f};
                for (int64_t f = from + r * 256; f < std::min(from + (r + 1) * 256, Length()); ++f) {
                    const float v = m_samples[static_cast<size_t>(f * m_channels + c)];
                    pair.minimum = std::min(pair.minimum, v);
                    pair.maximum = std::max(pair.maximum, v);
                }
                peaks->Row(r)[c] = pair;
            }
        }
        return peaks;
    }

    int32_t m_channels;
    std::vector<float> m_samples;
};

std::vector<CSection> Detect(const GeneratedAudio& audio, float minSong, float minPause = 2.0f,
                             float threshold = kThreshold50dB) {
    std::vector<CSection> pauses;
    DetectPauses(pauses, audio.Input(), threshold, minSong, minPause);
    return pauses;
}

constexpr int64_t Block(int64_t records) {
    return records * 256;
}

std::vector<int64_t> Positions(CLabelList& labels) {
    std::vector<int64_t> out;
    for (int32_t i = 0; i < labels.GetCount(); ++i)
        out.push_back(labels.GetAt(i)->m_position);
    return out;
}

TEST(PauseDetection, ToneSilenceTone_GivesAZeroPauseAtTheStartAndThePauseUpToTheFirstLoudRecord) {
    // 13 s: the walk crosses several 65535-frame requests.
    const GeneratedAudio audio({Tone(5), Quiet(3), Tone(5)});
    const std::vector<CSection> expected{{0, 0}, {Block(500), Block(800)}};
    EXPECT_EQ(Detect(audio, 1.0f), expected);

    CLabelList labels;
    labels.Add(12345, 2, "earlier", "");
    int cuts = 0;
    EXPECT_EQ(ApplyPauseDetection(
                  audio.Input(), labels, [&](const CSection&) { ++cuts; }, insertSplits, kThreshold50dB, 2.0f,
                  1.0f),
              2);
    EXPECT_EQ(cuts, 0);
    EXPECT_EQ(Positions(labels), (std::vector<int64_t>{0, Block(800)}));
    EXPECT_EQ(labels.GetAt(1)->m_type, 0);
    EXPECT_TRUE(labels.GetAt(1)->m_firstText.empty());
}

TEST(PauseDetection, PauseShorterThanTheMinimum_IsIgnoredAndStillResetsTheRun) {
    // 199 quiet records where 200 are needed, twice, parted by one loud record.
    const GeneratedAudio shortPauses({Tone(2), Quiet(1.99), Tone(0.01), Quiet(1.99), Tone(2)});
    EXPECT_EQ(Detect(shortPauses, 0.0f), (std::vector<CSection>{{0, 0}}));

    const GeneratedAudio exact({Tone(2), Quiet(2), Tone(2)});
    EXPECT_EQ(Detect(exact, 0.0f), (std::vector<CSection>{{0, 0}, {Block(200), Block(400)}}));
}

TEST(PauseDetection, SongShorterThanTheMinimum_CancelsThePauseBehindIt) {
    const GeneratedAudio audio({Tone(5), Quiet(3), Tone(0.5), Quiet(3), Tone(5)});
    EXPECT_EQ(Detect(audio, 1.0f), (std::vector<CSection>{{0, 0}, {Block(500), Block(800)}}));
    // With no minimal song length every long enough pause is taken.
    EXPECT_EQ(Detect(audio, 0.0f),
              (std::vector<CSection>{{0, 0}, {Block(500), Block(800)}, {Block(850), Block(1150)}}));
}

TEST(PauseDetection, SilentFileAndQuietTail_GiveNoPause) {
    EXPECT_TRUE(Detect(GeneratedAudio({Quiet(6)}), 0.0f).empty());
    // The quiet start is one pause from 0; the quiet tail is never closed.
    const GeneratedAudio audio({Quiet(3), Tone(4), Quiet(4)});
    EXPECT_EQ(Detect(audio, 0.0f), (std::vector<CSection>{{0, Block(300)}}));
}

TEST(PauseDetection, Level_IsTheMeanHalfPeakToPeakOverChannelsAndTheThresholdItselfIsLoud) {
    // Records 0..3 silent, record 4 exactly at the threshold: the full run plus four closes a pause.
    auto input = [](float level, int32_t channels, float other) {
        PauseDetectionInput in;
        in.rate = 1024; // one second is four records
        in.length = Block(6);
        in.readBlocks = [=](int64_t from, int64_t to) {
            auto* peaks = new CPeakData;
            const auto rows = static_cast<int32_t>((to - from + 255) / 256);
            peaks->Allocate(rows, channels, 256);
            for (int32_t r = 0; r < rows; ++r)
                for (int32_t c = 0; c < channels; ++c) {
                    const float v = (from / 256 + r >= 4) ? (c == 0 ? level : other) : 0.0f;
                    peaks->Row(r)[c] = {-v, v};
                }
            return peaks;
        };
        return in;
    };
    auto detect = [](const PauseDetectionInput& in, float threshold) {
        std::vector<CSection> pauses;
        DetectPauses(pauses, in, threshold, 0.0f, 1.0f);
        return pauses;
    };
    const std::vector<CSection> one{{0, Block(4)}};
    EXPECT_EQ(detect(input(0.25f, 1, 0.0f), 0.25f), one);
    EXPECT_TRUE(detect(input(0.2499f, 1, 0.0f), 0.25f).empty());
    // Stereo with one silent channel averages to half: quiet. Both channels loud: loud.
    EXPECT_TRUE(detect(input(0.004f, 2, 0.0f), kThreshold50dB).empty());
    EXPECT_EQ(detect(input(0.004f, 2, 0.004f), kThreshold50dB), one);
}

TEST(PauseDetection, MediaWithoutFormatOrPeaks_GivesAnEmptyList) {
    const GeneratedAudio audio({Quiet(3), Tone(3)});
    PauseDetectionInput noRate = audio.Input(), noPeaks = audio.Input(), noRows = audio.Input();
    noRate.rate = 0;
    noPeaks.readBlocks = [](int64_t, int64_t) -> CPeakData* { return nullptr; };
    noRows.readBlocks = [](int64_t, int64_t) { return new CPeakData; };
    for (const PauseDetectionInput* input : {&noRate, &noPeaks, &noRows}) {
        std::vector<CSection> pauses;
        DetectPauses(pauses, *input, kThreshold50dB, 0.0f, 2.0f);
        EXPECT_TRUE(pauses.empty());
    }
}

TEST(PauseDetection, ApplyDeletingPauses_CutsAtPositionsMovedBackByEarlierCuts) {
    const GeneratedAudio audio({Tone(2), Quiet(3), Tone(2), Quiet(3), Tone(2)});
    for (int32_t action : {deletePauses, insertSplitsAndDeletePauses}) {
        CLabelList labels;
        labels.Add(7, 0, "", "");
        std::vector<CSection> cuts;
        ApplyPauseDetection(
            audio.Input(), labels, [&](const CSection& s) { cuts.push_back(s); }, action, kThreshold50dB,
            2.0f, 1.0f);
        // The zero-length pause at the start is not cut.
        EXPECT_EQ(cuts, (std::vector<CSection>{{Block(200), Block(500)}, {Block(400), Block(700)}}));
        EXPECT_EQ(Positions(labels),
                  (action == deletePauses ? std::vector<int64_t>{}
                                          : std::vector<int64_t>{0, Block(200), Block(400)}));
    }
}

TEST(SignalSections, FindSignalSections_SpansTheSoundBetweenPauses) {
    auto find = [](const GeneratedAudio& audio) {
        std::vector<CSection> sections;
        FindSignalSections(sections, audio.Input(), kThreshold50dB, 1.0f, 2.0f);
        return sections;
    };
    EXPECT_EQ(find(GeneratedAudio({Tone(5), Quiet(3), Tone(5)})),
              (std::vector<CSection>{{0, Block(500)}, {Block(800), Block(1300)}}));
    EXPECT_EQ(find(GeneratedAudio({Quiet(3), Tone(5), Quiet(3), Tone(5), Quiet(2.5)})),
              (std::vector<CSection>{{Block(300), Block(800)}, {Block(1100), Block(1850)}}));
    EXPECT_EQ(find(GeneratedAudio({Quiet(4)})), (std::vector<CSection>{{0, Block(400)}}));
}

TEST(PauseDetection, Settings_DefaultsTenthsAndThreshold) {
    test::ScratchSettings scratch;
    auto values = [](const PauseDetectionSettings& s) {
        return std::tuple(s.action, s.thresholdDb, s.minPauseSeconds, s.minSongSeconds);
    };
    PauseDetectionSettings settings = LoadPauseDetectionSettings();
    EXPECT_EQ(values(settings), std::tuple(0, -50, 2.0f, 20.0f));
    EXPECT_NEAR(PauseThresholdLinear(-50), 0.00316228f, 1e-7f);
    EXPECT_FLOAT_EQ(PauseThresholdLinear(0), 1.0f);

    settings = {2, -42, 2.35f, 0.0f}; // 23.5 tenths of a second, truncated
    SavePauseDetectionSettings(settings);
    EXPECT_EQ(GetSettingInt("PauseDetection", "MinPauseLength", -1), 23);
    EXPECT_EQ(values(LoadPauseDetectionSettings()), std::tuple(2, -42, 2.3f, 0.0f));
    PutSettingInt("PauseDetection", "Action", 9);
    EXPECT_EQ(LoadPauseDetectionSettings().action, 0);
}

} // namespace
} // namespace tw
