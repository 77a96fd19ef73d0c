// Shared pieces of the audio tests: a private settings file, a generated document whose 16-bit
// rendering tells every frame's number, a gain transform, and readers of captured PCM.
#pragma once

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/MediaStream.h"
#include "core/Transform.h"
#include "platform/Settings.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace tw::test {

// Points the settings store at a fresh file for the life of the object.
class ScratchSettings {
public:
    ScratchSettings() {
        std::string pattern = (std::filesystem::temp_directory_path() / "tw-audio-XXXXXX").string();
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        m_root = ::mkdtemp(buffer.data());
        m_saved = GetSettingsFilePath();
        SetSettingsFilePath(m_root + "/settings.ini");
    }
    ~ScratchSettings() {
        SetSettingsFilePath(m_saved);
        std::error_code ec;
        std::filesystem::remove_all(m_root, ec);
    }

private:
    std::string m_root;
    std::string m_saved;
};

// Channel c of frame n is ((n + 7919 * c) % 20000) / 32768: at 16 bits without dither each sample
// comes out as that integer exactly, so captured audio names the frames it came from.
inline int16_t FrameCode(int64_t frame, int32_t channel) {
    return static_cast<int16_t>((frame + 7919 * channel) % 20000);
}

inline WAVEFORMATEX Pcm16(int32_t channels, int32_t rate) {
    WAVEFORMATEX f{};
    f.wFormatTag = WAVE_FORMAT_PCM;
    f.nChannels = static_cast<uint16_t>(channels);
    f.nSamplesPerSec = static_cast<uint32_t>(rate);
    f.wBitsPerSample = 16;
    f.nBlockAlign = static_cast<uint16_t>(channels * 2);
    f.nAvgBytesPerSec = f.nBlockAlign * static_cast<uint32_t>(rate);
    return f;
}

// Frames [first, first + frames) of the coded signal as a float block.
inline void FillCoded(CMediaData& block, int64_t first, int64_t frames, int32_t channels) {
    block.Allocate(frames, channels * 4);
    for (int64_t f = 0; f < frames; ++f)
        for (int32_t c = 0; c < channels; ++c)
            block.GetFloats()[f * channels + c] = FrameCode(first + f, c) / 32768.0f;
}

class CodedStream : public CMediaStream {
public:
    CodedStream(int64_t frames, int32_t channels, int32_t rate)
        : m_frames(frames), m_native(Pcm16(channels, rate)), m_format(WorkingFormatOf(m_native)) {}
    int32_t GetFrameSize() override { return m_format.nBlockAlign; }
    int64_t GetLength() override { return m_frames; }
    CMediaData* ReadFrames(CSection section) override {
        auto* block = new CMediaData(section.SectionLength(), GetFrameSize());
        float* out = block->GetFloats();
        const int32_t channels = m_format.nChannels;
        for (int64_t f = 0; f < section.SectionLength(); ++f) {
            const int64_t n = section.m_start + f;
            for (int32_t c = 0; c < channels; ++c)
                out[f * channels + c] = n >= 0 && n < m_frames ? FrameCode(n, c) / 32768.0f : 0.0f;
        }
        return block;
    }
    CPeakData* ReadPeaks(CSection, bool) override { return nullptr; }
    const WAVEFORMATEX* GetFormat() override { return &m_format; }
    const WAVEFORMATEX* GetNativeFormat() override { return &m_native; }
    bool IsGenerated() override { return true; }

private:
    int64_t m_frames;
    WAVEFORMATEX m_native{};
    WAVEFORMATEX m_format{};
};

// Multiplies every sample, in place.
class GainTransform : public CTransformBase {
public:
    explicit GainTransform(float gain) : m_gain(gain) {}
    CTransformBase* CreateReadInstance() override { return new GainTransform(m_gain); }
    CMediaData* Process(CMediaData* input) override {
        const int64_t n = input->GetByteCount() / 4;
        float* s = input->GetFloats();
        for (int64_t i = 0; i < n; ++i)
            s[i] *= m_gain;
        return input;
    }
    std::string GetName() override { return "Gain"; }

private:
    float m_gain;
};

inline std::vector<int16_t> Samples16(const std::vector<uint8_t>& bytes) {
    std::vector<int16_t> out(bytes.size() / 2);
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = static_cast<int16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    return out;
}

inline double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace tw::test
