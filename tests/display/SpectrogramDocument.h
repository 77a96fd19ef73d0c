// Documents for the time-frequency display tests: a stream over generated float samples at any
// rate and channel count, and the signals the tests look at (tones, a chirp, silence).
#pragma once

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/MediaStream.h"

#include <cmath>
#include <functional>
#include <memory>
#include <vector>

namespace tw::spectrotest {

// Frames are interleaved floats; frame f of channel c is samples[f * channels + c].
class GeneratedStream : public CMediaStream {
public:
    GeneratedStream(std::vector<float> samples, int channels, uint32_t rate) : m_samples(std::move(samples)) {
        WAVEFORMATEX native{};
        native.wFormatTag = WAVE_FORMAT_PCM;
        native.nChannels = static_cast<uint16_t>(channels);
        native.nSamplesPerSec = rate;
        native.wBitsPerSample = 16;
        native.nBlockAlign = static_cast<uint16_t>(channels * 2);
        native.nAvgBytesPerSec = native.nBlockAlign * rate;
        m_native = native;
        m_format = WorkingFormatOf(native);
    }

    int32_t GetFrameSize() override { return m_format.nBlockAlign; }
    int64_t GetLength() override { return static_cast<int64_t>(m_samples.size()) / m_format.nChannels; }
    CMediaData* ReadFrames(CSection section) override {
        auto* block = new CMediaData(section.SectionLength(), GetFrameSize());
        float* out = block->GetFloats();
        const int64_t channels = m_format.nChannels;
        for (int64_t f = 0; f < section.SectionLength(); ++f) {
            const int64_t frame = section.m_start + f;
            const bool inside = frame >= 0 && frame < GetLength();
            for (int64_t c = 0; c < channels; ++c)
                out[f * channels + c] = inside ? m_samples[static_cast<size_t>(frame * channels + c)] : 0.0f;
        }
        return block;
    }
    CPeakData* ReadPeaks(CSection, bool) override { return nullptr; }
    const WAVEFORMATEX* GetFormat() override { return &m_format; }
    const WAVEFORMATEX* GetNativeFormat() override { return &m_native; }
    bool IsGenerated() override { return true; }

private:
    std::vector<float> m_samples;
    WAVEFORMATEX m_native{};
    WAVEFORMATEX m_format{};
};

// channel, time in seconds -> sample.
using Signal = std::function<float(int channel, double seconds)>;

inline std::unique_ptr<CEditedMedia> MakeDocument(int64_t frames, int channels, uint32_t rate,
                                                  const Signal& signal) {
    std::vector<float> samples(static_cast<size_t>(frames * channels));
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            samples[static_cast<size_t>(f * channels + c)] = signal(c, static_cast<double>(f) / rate);
    auto media = std::make_unique<CEditedMedia>();
    media->AddMedia(new GeneratedStream(std::move(samples), channels, rate), 0);
    return media;
}

inline Signal Tone(double hertz, float amplitude = 0.5f) {
    return [=](int, double t) { return amplitude * static_cast<float>(std::sin(2.0 * M_PI * hertz * t)); };
}

inline Signal Silence() {
    return [](int, double) { return 0.0f; };
}

// A sweep whose frequency rises exponentially from `from` to `to` Hz over `seconds`.
inline Signal Chirp(double from, double to, double seconds, float amplitude = 0.5f) {
    const double k = std::log(to / from) / seconds;
    return [=](int, double t) {
        const double phase = 2.0 * M_PI * from * (std::exp(k * t) - 1.0) / k;
        return amplitude * static_cast<float>(std::sin(phase));
    };
}

} // namespace tw::spectrotest
