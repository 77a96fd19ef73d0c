#include "dsp/SignalGenerator.h"

#include "core/MediaData.h"
#include "core/PeakData.h"
#include "storage/Archive.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>

namespace tw {

namespace {

WAVEFORMATEX DefaultTarget() {
    WAVEFORMATEX f{};
    f.wFormatTag = WAVE_FORMAT_PCM;
    f.nChannels = 2;
    f.nSamplesPerSec = 44100;
    f.nAvgBytesPerSec = 176400;
    f.nBlockAlign = 4;
    f.wBitsPerSample = 16;
    f.cbSize = 0;
    return f;
}

// Each generator draws its own noise sequence, as generators sharing the C library's one generator
// would, without sharing state across threads.
uint32_t NextSeed() {
    static std::atomic<uint32_t> source{1};
    return source.fetch_add(0x9E3779B9u, std::memory_order_relaxed);
}

void WriteFormat(CArchive& archive, const WAVEFORMATEX& f) {
    archive.WriteU16(f.wFormatTag);
    archive.WriteU16(f.nChannels);
    archive.WriteU32(f.nSamplesPerSec);
    archive.WriteU32(f.nAvgBytesPerSec);
    archive.WriteU16(f.nBlockAlign);
    archive.WriteU16(f.wBitsPerSample);
    archive.WriteU16(f.cbSize);
}

WAVEFORMATEX ReadFormat(CArchive& archive) {
    WAVEFORMATEX f{};
    f.wFormatTag = archive.ReadU16();
    f.nChannels = archive.ReadU16();
    f.nSamplesPerSec = archive.ReadU32();
    f.nAvgBytesPerSec = archive.ReadU32();
    f.nBlockAlign = archive.ReadU16();
    f.wBitsPerSample = archive.ReadU16();
    f.cbSize = archive.ReadU16();
    return f;
}

float ReadFloat(CArchive& archive) {
    return std::bit_cast<float>(archive.ReadU32());
}

} // namespace

CSignalGenerator::CSignalGenerator(const WAVEFORMATEX* target, uint32_t frames, int32_t signal,
                                   float startFrequency, float endFrequency, float amplitude)
    : m_amplitude(amplitude), m_startFrequency(startFrequency), m_endFrequency(endFrequency),
      m_signal(signal), m_length(frames), m_randState(NextSeed()) {
    m_targetFormat = target ? *target : DefaultTarget();
    m_format = WorkingFormatOf(m_targetFormat);
}

float CSignalGenerator::NextRand() {
    m_randState = m_randState * 1103515245u + 12345u;
    return static_cast<float>((m_randState >> 16) & 0x7FFF);
}

int32_t CSignalGenerator::PinkDraw() {
    m_pinkSeed = m_pinkSeed * 196314165u + 907633515u;
    return static_cast<int32_t>(m_pinkSeed) >> 8;
}

float CSignalGenerator::NextPink() {
    m_pinkIndex = (m_pinkIndex + 1) & m_pinkIndexMask;
    if (m_pinkIndex != 0) {
        const int row = std::countr_zero(static_cast<uint32_t>(m_pinkIndex));
        m_pinkSum -= m_pinkRows[row];
        const int32_t value = PinkDraw();
        m_pinkSum += value;
        m_pinkRows[row] = value;
    }
    const int32_t white = PinkDraw();
    return static_cast<float>(m_pinkSum + white) * m_pinkScale;
}

float CSignalGenerator::Sample(int64_t t) {
    const double rate = m_format.nSamplesPerSec;
    // Half the sweep's slope: the phase f * t then glides the frequency from start to end.
    const double f =
        (m_endFrequency - m_startFrequency) * 0.5 * static_cast<double>(t) / m_length + m_startFrequency;
    switch (m_signal) {
    case sine:
        return static_cast<float>(std::sin(6.2831855 * f * static_cast<double>(t) / rate));
    case sawtooth:
    case square: {
        // A frequency of 0 makes the period infinite and x 0: a constant -1.
        const double p = rate / f;
        const double x = static_cast<double>(t) / p;
        const double frac = x - std::floor(x);
        if (m_signal == sawtooth)
            return static_cast<float>(2.0 * frac - 1.0);
        return frac > 0.5 ? 1.0f : -1.0f;
    }
    case whiteNoise:
        return 2.0f * NextRand() / 32767.0f - 1.0f;
    case pinkNoise:
        return NextPink();
    case brownNoise: {
        const float v = (NextRand() / 32767.0f - 0.5f) * 0.01f + m_brownLast;
        m_brownLast = std::clamp(v, -1.0f, 1.0f);
        return m_brownLast;
    }
    default:
        return 0.0f;
    }
}

CMediaData* CSignalGenerator::ReadFrames(CSection section) {
    const int64_t frames = std::max<int64_t>(0, section.SectionLength());
    const int channels = m_format.nChannels;
    auto* data = new CMediaData(frames, m_format.nBlockAlign);
    float* out = data->GetFloats();
    // Tones are pure functions of t; only noise state needs the lock, so playback and display can
    // read one tone at the same time.
    std::unique_lock<std::mutex> lock(m_lock, std::defer_lock);
    if (m_signal >= whiteNoise)
        lock.lock();
    for (int64_t i = 0; i < frames; ++i) {
        const int64_t t = section.m_start + i;
        const float value = (t >= 0 && t < static_cast<int64_t>(m_length)) ? Sample(t) * m_amplitude : 0.0f;
        float* frame = out + i * channels;
        for (int c = 0; c < channels; ++c)
            frame[c] = value;
    }
    return data;
}

CPeakData* CSignalGenerator::ReadPeaks(CSection section, bool blockMode) {
    const int64_t frames = std::max<int64_t>(0, section.SectionLength());
    const int channels = m_format.nChannels;
    auto* peaks = new CPeakData;
    if (blockMode) {
        const int32_t rows = static_cast<int32_t>(std::max<int64_t>(1, frames / 256));
        peaks->Allocate(rows, channels, 256);
        PeakPair* data = peaks->GetData();
        std::fill(data, data + static_cast<int64_t>(rows) * channels, PeakPair{-m_amplitude, m_amplitude});
        return peaks;
    }
    CMediaData* samples = ReadFrames(section);
    const int32_t rows = static_cast<int32_t>(frames);
    peaks->Allocate(rows, channels, 1);
    const float* in = samples->GetFloats();
    PeakPair* data = peaks->GetData();
    for (int64_t i = 0; i < static_cast<int64_t>(rows) * channels; ++i)
        data[i] = PeakPair{in[i], in[i]};
    delete samples;
    return peaks;
}

bool CSignalGenerator::SaveReference(CArchive& archive) {
    archive.WriteU8(kKindGenerator);
    WriteFormat(archive, m_targetFormat);
    archive.WriteU32(std::bit_cast<uint32_t>(m_amplitude));
    archive.WriteU32(std::bit_cast<uint32_t>(m_startFrequency));
    archive.WriteU32(std::bit_cast<uint32_t>(m_endFrequency));
    archive.WriteI32(m_signal);
    archive.WriteU32(m_length);
    return true;
}

CSignalGenerator* CSignalGenerator::LoadReference(CArchive& archive, uint8_t kind) {
    (void)kind; // every version of the record has the same fields
    const WAVEFORMATEX target = ReadFormat(archive);
    const float amplitude = ReadFloat(archive);
    const float startFrequency = ReadFloat(archive);
    const float endFrequency = ReadFloat(archive);
    const int32_t signal = archive.ReadI32();
    const uint32_t length = archive.ReadU32();
    if (target.nChannels == 0 || target.nChannels > kMaxChannels || target.nSamplesPerSec == 0 ||
        signal < sine || signal > brownNoise)
        throw CArchiveException(CArchiveException::badSchema);
    return new CSignalGenerator(&target, length, signal, startFrequency, endFrequency, amplitude);
}

} // namespace tw
