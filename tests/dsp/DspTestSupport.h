// Shared by the dsp tests: formats, an in-memory stream at any rate, and plug-ins made from the
// transform doubles with a way to read their gain back.
#pragma once

#include "core/MediaData.h"
#include "core/MediaStream.h"
#include "dsp/TransformDoubles.h"
#include "dsp/TransformPlugin.h"
#include "platform/Settings.h"

#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <unistd.h>
#include <vector>

namespace tw::test {

// Points the settings store at a fresh file for the life of the object.
class ScratchSettings {
public:
    ScratchSettings() : m_saved(GetSettingsFilePath()) {
        std::string pattern = (std::filesystem::temp_directory_path() / "tw-dsp-XXXXXX").string();
        m_root = ::mkdtemp(pattern.data());
        SetSettingsFilePath(m_root + "/settings.ini");
    }
    ~ScratchSettings() {
        SetSettingsFilePath(m_saved);
        std::error_code ec;
        std::filesystem::remove_all(m_root, ec);
    }

private:
    std::string m_saved, m_root;
};

inline WAVEFORMATEX Format(int channels, uint32_t rate, int bits = 16, uint16_t tag = WAVE_FORMAT_PCM) {
    WAVEFORMATEX f{};
    f.wFormatTag = tag;
    f.nChannels = static_cast<uint16_t>(channels);
    f.nSamplesPerSec = rate;
    f.wBitsPerSample = static_cast<uint16_t>(bits);
    f.nBlockAlign = static_cast<uint16_t>(channels * bits / 8);
    f.nAvgBytesPerSec = f.nBlockAlign * rate;
    return f;
}

// Interleaved float frames at `rate`, as a generated stream; silence outside them.
class SampleStream : public CMediaStream {
public:
    SampleStream(std::vector<float> samples, int channels, uint32_t rate)
        : m_samples(std::move(samples)), m_native(Format(channels, rate)),
          m_format(WorkingFormatOf(m_native)) {}
    int32_t GetFrameSize() override { return m_format.nBlockAlign; }
    int64_t GetLength() override { return static_cast<int64_t>(m_samples.size()) / m_format.nChannels; }
    CMediaData* ReadFrames(CSection s) override {
        const int64_t channels = m_format.nChannels;
        auto* block = new CMediaData(s.SectionLength(), GetFrameSize());
        for (int64_t i = 0; i < s.SectionLength() * channels; ++i) {
            const int64_t at = s.m_start * channels + i;
            block->GetFloats()[i] = at >= 0 && at < int64_t(m_samples.size()) ? m_samples[size_t(at)] : 0.0f;
        }
        return block;
    }
    CPeakData* ReadPeaks(CSection, bool) override { return nullptr; }
    const WAVEFORMATEX* GetFormat() override { return &m_format; }
    const WAVEFORMATEX* GetNativeFormat() override { return &m_native; }
    bool IsGenerated() override { return true; }

private:
    std::vector<float> m_samples;
    WAVEFORMATEX m_native, m_format;
};

// A stereo block of `frames` frames holding 1, 2, 3, ... so that order and scaling both show.
inline std::unique_ptr<CMediaData> Ramp(int64_t frames) {
    auto block = std::make_unique<CMediaData>(frames, 8);
    for (int64_t i = 0; i < frames * 2; ++i)
        block->GetFloats()[i] = static_cast<float>(i + 1);
    return block;
}

// The block's samples at `indices`.
inline std::vector<float> At(const CMediaData& block, std::initializer_list<int64_t> indices) {
    std::vector<float> out;
    for (int64_t i : indices)
        out.push_back(block.GetFloats()[i]);
    return out;
}

inline std::unique_ptr<CTransformPlugin> MakePlugin(const CLSID& classId, const GUID& subId = GUID{}) {
    doubles::RegisterTransforms();
    return std::unique_ptr<CTransformPlugin>(CTransformPlugin::Create(classId, subId, -1));
}

inline std::unique_ptr<CTransformPlugin> Gain(float value) {
    auto plugin = MakePlugin(doubles::kGainClass);
    plugin->SetValue(0, value);
    return plugin;
}

// The gain double's state is its one float.
inline float GainOf(CTransformBase& plugin) {
    const std::vector<uint8_t> state = plugin.GetState();
    float gain = 0;
    if (state.size() == 4)
        std::memcpy(&gain, state.data(), 4);
    return gain;
}

} // namespace tw::test
