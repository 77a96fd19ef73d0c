// Documents for the wave plot tests: a stream over generated float samples that answers peak reads
// in both modes (one row per frame, one row per 256 frames), so that every regime of the peak
// columns works, and settings kept in a file of the test's own.
#pragma once

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/MediaStream.h"
#include "core/PeakData.h"
#include "platform/Settings.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace tw::wavetest {

// Frames are interleaved floats; frame f of channel c is samples[f * channels + c].
class PeakStream : public CMediaStream {
public:
    PeakStream(std::vector<float> samples, int channels)
        : m_samples(std::move(samples)), m_channels(channels) {
        WAVEFORMATEX native{};
        native.wFormatTag = WAVE_FORMAT_PCM;
        native.nChannels = static_cast<uint16_t>(channels);
        native.nSamplesPerSec = 44100;
        native.wBitsPerSample = 16;
        native.nBlockAlign = static_cast<uint16_t>(channels * 2);
        native.nAvgBytesPerSec = native.nBlockAlign * 44100u;
        m_native = native;
        m_format = WorkingFormatOf(native);
    }

    int32_t GetFrameSize() override { return m_format.nBlockAlign; }
    int64_t GetLength() override { return static_cast<int64_t>(m_samples.size()) / m_channels; }
    CMediaData* ReadFrames(CSection section) override {
        auto* block = new CMediaData(section.SectionLength(), GetFrameSize());
        float* out = block->GetFloats();
        for (int64_t f = 0; f < section.SectionLength(); ++f)
            for (int c = 0; c < m_channels; ++c)
                out[f * m_channels + c] = Sample(section.m_start + f, c);
        return block;
    }
    CPeakData* ReadPeaks(CSection section, bool blockMode) override {
        auto* peaks = new CPeakData;
        if (!blockMode) {
            peaks->Allocate(static_cast<int32_t>(section.SectionLength()), m_channels, 1);
            for (int64_t f = 0; f < section.SectionLength(); ++f)
                for (int c = 0; c < m_channels; ++c) {
                    const float v = Sample(section.m_start + f, c);
                    peaks->Row(static_cast<int32_t>(f))[c] = PeakPair{v, v};
                }
            return peaks;
        }
        const int64_t count = std::max<int64_t>(section.SectionLength() / 256, 1);
        peaks->Allocate(static_cast<int32_t>(count), m_channels, 256);
        for (int64_t r = 0; r < count; ++r) {
            const int64_t first = (section.m_start / 256 + r) * 256;
            for (int c = 0; c < m_channels; ++c) {
                PeakPair pair{1.0f, -1.0f};
                for (int64_t f = first; f < first + 256; ++f) {
                    pair.minimum = std::min(pair.minimum, Sample(f, c));
                    pair.maximum = std::max(pair.maximum, Sample(f, c));
                }
                peaks->Row(static_cast<int32_t>(r))[c] = pair;
            }
        }
        return peaks;
    }
    const WAVEFORMATEX* GetFormat() override { return &m_format; }
    const WAVEFORMATEX* GetNativeFormat() override { return &m_native; }
    bool IsGenerated() override { return true; }

private:
    float Sample(int64_t frame, int c) const {
        return frame >= 0 && frame < GetLengthConst() ? m_samples[static_cast<size_t>(frame * m_channels + c)]
                                                      : 0.0f;
    }
    int64_t GetLengthConst() const { return static_cast<int64_t>(m_samples.size()) / m_channels; }

    std::vector<float> m_samples;
    int m_channels;
    WAVEFORMATEX m_native{};
    WAVEFORMATEX m_format{};
};

// channel, frame -> sample.
using Signal = std::function<float(int channel, int64_t frame)>;

inline PeakStream* MakeStream(int64_t frames, int channels, const Signal& signal) {
    std::vector<float> samples(static_cast<size_t>(frames * channels));
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            samples[static_cast<size_t>(f * channels + c)] = signal(c, f);
    return new PeakStream(std::move(samples), channels);
}

inline std::unique_ptr<CEditedMedia> MakeDocument(int64_t frames, int channels, const Signal& signal) {
    auto media = std::make_unique<CEditedMedia>();
    media->AddMedia(MakeStream(frames, channels, signal), 0);
    return media;
}

// Points the settings store at a file of its own for the lifetime of the object, and back.
class ScopedSettings {
public:
    ScopedSettings() : m_previous(GetSettingsFilePath()) {
        m_path = (std::filesystem::temp_directory_path() / ("tw-wave-settings-" + std::to_string(::getpid()) +
                                                            "-" + std::to_string(++Counter()) + ".ini"))
                     .string();
        SetSettingsFilePath(m_path);
    }
    ~ScopedSettings() {
        SetSettingsFilePath(m_previous);
        std::error_code ec;
        std::filesystem::remove(m_path, ec);
    }
    ScopedSettings(const ScopedSettings&) = delete;
    ScopedSettings& operator=(const ScopedSettings&) = delete;

private:
    static int& Counter() {
        static int counter = 0;
        return counter;
    }
    std::string m_previous;
    std::string m_path;
};

} // namespace tw::wavetest
