// Small in-memory streams and transforms for the core tests: a stream over a float vector that
// counts its reads, and transforms that scale, stretch or starve the blocks they get.
#pragma once

#include "core/EditedMedia.h"
#include "core/MEReadAccess.h"
#include "core/MediaData.h"
#include "core/MediaEvent.h"
#include "core/MediaStream.h"
#include "core/PeakData.h"
#include "core/ReadCursor.h"
#include "core/Transform.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace tw::test {

// Frames are interleaved floats; sample i of the vector is frame i / channels.
class VectorStream : public CMediaStream {
public:
    VectorStream(std::vector<float> samples, int channels, bool* deleted = nullptr)
        : m_samples(std::move(samples)), m_deleted(deleted) {
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
    // A stream of `frames` mono frames whose sample n is n (exact in a float up to 2^24).
    static VectorStream* Ramp(int64_t frames, bool* deleted = nullptr) {
        std::vector<float> samples(static_cast<size_t>(frames));
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<float>(i);
        return new VectorStream(std::move(samples), 1, deleted);
    }
    ~VectorStream() override {
        if (m_deleted != nullptr)
            *m_deleted = true;
    }

    int32_t GetFrameSize() override { return m_format.nBlockAlign; }
    int64_t GetLength() override { return static_cast<int64_t>(m_samples.size()) / m_format.nChannels; }
    CMediaData* ReadFrames(CSection section) override {
        ++m_reads;
        m_sections.push_back(section);
        auto* block = new CMediaData(section.SectionLength(), GetFrameSize());
        float* out = block->GetFloats();
        const int64_t channels = m_format.nChannels;
        for (int64_t f = 0; f < section.SectionLength(); ++f) {
            const int64_t frame = section.m_start + f;
            for (int64_t c = 0; c < channels; ++c) {
                const bool inside = frame >= 0 && frame < GetLength();
                out[f * channels + c] = inside ? m_samples[static_cast<size_t>(frame * channels + c)] : 0.0f;
            }
        }
        return block;
    }
    CPeakData* ReadPeaks(CSection, bool) override { return nullptr; }
    const WAVEFORMATEX* GetFormat() override { return &m_format; }
    const WAVEFORMATEX* GetNativeFormat() override { return &m_native; }
    bool IsGenerated() override { return false; }

    int m_reads = 0;
    std::vector<CSection> m_sections;

private:
    std::vector<float> m_samples;
    WAVEFORMATEX m_native{};
    WAVEFORMATEX m_format{};
    bool* m_deleted;
};

// Keeps every `keep`-th frame of a mono block: a time ratio of 1 / keep. Read instances share the
// counter of instances made.
class DecimateTransform : public CTransformBase {
public:
    explicit DecimateTransform(int keep, int* instances = nullptr) : m_keep(keep), m_instances(instances) {}
    CTransformBase* CreateReadInstance() override {
        if (m_instances != nullptr)
            ++*m_instances;
        return new DecimateTransform(m_keep);
    }
    CMediaData* Process(CMediaData* input) override {
        const int64_t frames = input->GetFrameCount() / m_keep;
        auto* out = new CMediaData(frames, input->GetFrameSize());
        for (int64_t i = 0; i < frames; ++i)
            out->GetFloats()[i] = input->GetFloats()[i * m_keep];
        return out;
    }
    double GetTimeRatio() override { return 1.0 / m_keep; }
    std::string GetName() override { return "Decimate"; }

private:
    int m_keep;
    int* m_instances;
};

// Multiplies in place; its read instances are plain copies.
class GainTransform : public CTransformBase {
public:
    explicit GainTransform(float gain, bool* deleted = nullptr) : m_gain(gain), m_deleted(deleted) {}
    ~GainTransform() override {
        if (m_deleted != nullptr)
            *m_deleted = true;
    }
    CTransformBase* CreateReadInstance() override { return new GainTransform(m_gain); }
    CMediaData* Process(CMediaData* input) override {
        const int32_t n = input->GetByteCount() / 4;
        for (int32_t i = 0; i < n; ++i)
            input->GetFloats()[i] *= m_gain;
        return input;
    }
    std::string GetName() override { return "Gain"; }

private:
    float m_gain;
    bool* m_deleted;
};

// Takes no part in reads: gives no read instance.
class SilentPartner : public CTransformBase {
public:
    CTransformBase* CreateReadInstance() override { return nullptr; }
    CMediaData* Process(CMediaData* input) override { return input; }
    std::string GetName() override { return "None"; }
};

// Frame n of channel c holds base + n + c / 10, so each sample tells its stream, frame and channel.
inline VectorStream* Numbered(int64_t frames, float base, int channels = 1) {
    std::vector<float> samples(static_cast<size_t>(frames * channels));
    for (int64_t n = 0; n < frames; ++n)
        for (int c = 0; c < channels; ++c)
            samples[static_cast<size_t>(n * channels + c)] = base + static_cast<float>(n) + 0.1f * c;
    return new VectorStream(std::move(samples), channels);
}

// base + from ... base + to - 1, times gain.
inline std::vector<float> Frames(float base, int64_t from, int64_t to, float gain = 1.0f) {
    std::vector<float> out;
    for (int64_t i = from; i < to; ++i)
        out.push_back((base + static_cast<float>(i)) * gain);
    return out;
}

inline std::vector<float> Join(std::initializer_list<std::vector<float>> parts) {
    std::vector<float> out;
    for (const auto& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

inline std::vector<CSection> Timelines(const CEditedMedia& media) {
    std::vector<CSection> out;
    for (const CMediaEvent* event : media.GetEvents())
        out.push_back(event->GetTimelineSection());
    return out;
}

// Plays each mono event's visible part through its own read access, one after the other (no fades).
inline std::vector<float> Render(const CEditedMedia& media) {
    std::vector<float> out;
    for (const CMediaEvent* event : media.GetEvents()) {
        const CSection a = event->GetTimelineSection();
        if (a.SectionLength() <= 0)
            continue;
        CMEReadAccess* access = event->MakeReadAccess();
        access->Seek(a.m_start);
        CMediaData block(a.SectionLength(), 4);
        access->Read(&block);
        out.insert(out.end(), block.GetFloats(), block.GetFloats() + a.SectionLength());
        delete access;
    }
    return out;
}

inline std::vector<float> Read(CEditedMedia& media, ReadCursor& cursor, int64_t frames, int channels = 1) {
    CMediaData block(frames, 4 * channels);
    media.ReadSamples(cursor, block);
    return std::vector<float>(block.GetFloats(), block.GetFloats() + frames * channels);
}

inline std::vector<float> ReadAt(CEditedMedia& media, int64_t position, int64_t frames, int channels = 1) {
    ReadCursor* cursor = media.MakeCursor();
    media.Seek(*cursor, position);
    std::vector<float> out = Read(media, *cursor, frames, channels);
    media.FreeCursor(cursor);
    return out;
}

// A stream that answers peaks from its own samples, as a peak file would hold them, and notes each
// peak request with its mode.
class PeakStream : public VectorStream {
public:
    PeakStream(std::vector<float> samples, int channels)
        : VectorStream(samples, channels), m_copy(std::move(samples)), m_channels(channels) {}

    CPeakData* ReadPeaks(CSection section, bool blockMode) override {
        m_requests.push_back({section, blockMode});
        auto* peaks = new CPeakData;
        const int64_t frames = GetLength();
        auto sample = [&](int64_t frame, int c) {
            return frame >= 0 && frame < frames ? m_copy[static_cast<size_t>(frame * m_channels + c)] : 0.0f;
        };
        if (!blockMode) {
            peaks->Allocate(static_cast<int32_t>(section.SectionLength()), m_channels, 1);
            for (int64_t f = 0; f < section.SectionLength(); ++f)
                for (int c = 0; c < m_channels; ++c) {
                    const float v = sample(section.m_start + f, c);
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
                    pair.minimum = std::min(pair.minimum, sample(f, c));
                    pair.maximum = std::max(pair.maximum, sample(f, c));
                }
                peaks->Row(static_cast<int32_t>(r))[c] = pair;
            }
        }
        return peaks;
    }

    struct Request {
        CSection section;
        bool blockMode;
    };
    std::vector<Request> m_requests;

private:
    std::vector<float> m_copy;
    int m_channels;
};

} // namespace tw::test
