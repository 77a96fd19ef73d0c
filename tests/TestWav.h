// WAV files written and read by hand, and the measures tests take of a signal, for tests that run the
// editor as a separate program and link nothing of the system.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace tw::test {

// A 16-bit PCM WAV; `sample(frame, channel)` gives each sample. Each frame of `cues` becomes a cue
// point of a "cue " chunk after the samples, which the editor reads as a track split.
template <class Sample>
void WriteWav16(const std::string& path, uint16_t channels, uint32_t rate, uint32_t frames, Sample sample,
                const std::vector<uint32_t>& cues = {}) {
    std::ofstream out(path, std::ios::binary);
    auto u32 = [&](uint32_t v) { out.write(reinterpret_cast<const char*>(&v), 4); };
    auto u16 = [&](uint16_t v) { out.write(reinterpret_cast<const char*>(&v), 2); };
    const uint32_t data = frames * channels * 2u;
    const auto cueBytes = static_cast<uint32_t>(cues.empty() ? 0 : 12 + 24 * cues.size());
    out.write("RIFF", 4);
    u32(36 + data + cueBytes);
    out.write("WAVEfmt ", 8);
    for (uint32_t v : {16u, 1u | uint32_t(channels) << 16, rate, rate * channels * 2u})
        u32(v);
    u32(uint32_t(channels * 2) | 16u << 16); // block align, bits
    out.write("data", 4);
    u32(data);
    for (uint32_t f = 0; f < frames; ++f)
        for (uint16_t c = 0; c < channels; ++c)
            u16(static_cast<uint16_t>(sample(f, c)));
    if (cues.empty())
        return;
    out.write("cue ", 4);
    u32(cueBytes - 8);
    u32(static_cast<uint32_t>(cues.size()));
    for (uint32_t i = 0; i < cues.size(); ++i) {
        // id, position in play order, "data", chunk start, block start, sample offset
        for (uint32_t v : {i + 1, cues[i]})
            u32(v);
        out.write("data", 4);
        for (uint32_t v : {0u, 0u, cues[i]})
            u32(v);
    }
}

// Stereo at 44.1 kHz.
template <class Sample>
void WriteStereoWav16(const std::string& path, uint32_t frames, Sample sample,
                      const std::vector<uint32_t>& cues = {}) {
    WriteWav16(path, 2, 44100, frames, sample, cues);
}

struct Wav {
    uint16_t channels = 0, bits = 0;
    uint32_t rate = 0;
    std::vector<float> samples; // interleaved, -1..1
    int64_t Frames() const { return channels == 0 ? -1 : static_cast<int64_t>(samples.size() / channels); }
};

// A PCM WAV of 8 to 32 bits; no channels when it cannot be read.
inline Wav ReadWav(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    auto le = [&](size_t at, int bytes) {
        uint32_t v = 0;
        for (int b = 0; b < bytes && at + b < file.size(); ++b)
            v |= uint32_t(uint8_t(file[at + b])) << (8 * b);
        return v;
    };
    Wav wav;
    if (file.compare(0, 4, "RIFF") != 0)
        return wav;
    for (size_t at = 12; at + 8 <= file.size(); at += 8 + le(at + 4, 4) + (le(at + 4, 4) & 1)) {
        const uint32_t size = le(at + 4, 4);
        if (file.compare(at, 4, "fmt ") == 0) {
            wav.rate = le(at + 12, 4);
            wav.bits = static_cast<uint16_t>(le(at + 22, 2));
            wav.channels = wav.bits % 8 == 0 && wav.bits > 0 ? static_cast<uint16_t>(le(at + 10, 2)) : 0;
        } else if (file.compare(at, 4, "data") == 0 && wav.channels > 0) {
            const size_t width = wav.bits / 8, end = std::min<size_t>(at + 8 + size, file.size());
            for (size_t s = at + 8; s + width <= end; s += width) {
                if (width == 1) {
                    wav.samples.push_back((uint8_t(file[s]) - 128) / 128.0f);
                } else { // the top bytes as a signed word
                    const auto word = static_cast<int32_t>(le(s, int(width)) << (32 - 8 * width));
                    wav.samples.push_back(static_cast<float>(word / 2147483648.0));
                }
            }
        }
    }
    return wav;
}

// Interleaved sine of `frequency` at `amplitude` on every channel (or only on `onlyChannel`).
inline std::vector<float> Sine(uint32_t rate, int channels, int64_t frames, double frequency,
                               float amplitude = 0.5f, int onlyChannel = -1) {
    std::vector<float> out(static_cast<size_t>(frames * channels), 0.0f);
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            if (onlyChannel < 0 || c == onlyChannel)
                out[size_t(f * channels + c)] =
                    amplitude * float(std::sin(2.0 * M_PI * frequency * f / rate));
    return out;
}

// First (or, `last`, last) frame whose sample on `channel` exceeds `threshold` in magnitude; -1 when
// none.
inline int64_t LoudFrame(const std::vector<float>& s, int channels, int channel, float threshold, bool last) {
    const int64_t frames = static_cast<int64_t>(s.size()) / channels;
    for (int64_t i = 0; i < frames; ++i) {
        const int64_t f = last ? frames - 1 - i : i;
        if (std::fabs(s[size_t(f * channels + channel)]) > threshold)
            return f;
    }
    return -1;
}
inline int64_t FirstLoudFrame(const std::vector<float>& s, int channels, int channel,
                              float threshold = 0.01f) {
    return LoudFrame(s, channels, channel, threshold, false);
}
inline int64_t LastLoudFrame(const std::vector<float>& s, int channels, int channel,
                             float threshold = 0.01f) {
    return LoudFrame(s, channels, channel, threshold, true);
}

// Root mean square of `channel` over frames [from, to).
inline double Rms(const std::vector<float>& s, int channels, int channel, int64_t from, int64_t to) {
    from = std::clamp<int64_t>(from, 0, static_cast<int64_t>(s.size()) / channels);
    to = std::clamp<int64_t>(to, from, static_cast<int64_t>(s.size()) / channels);
    double sum = 0.0;
    for (int64_t f = from; f < to; ++f)
        sum += double(s[size_t(f * channels + channel)]) * s[size_t(f * channels + channel)];
    return to == from ? 0.0 : std::sqrt(sum / double(to - from));
}

// Frequency of a steady tone on `channel` over frames [from, to), from its rising zero crossings
// interpolated between samples; 0 when it does not swing.
inline double ToneFrequency(const std::vector<float>& s, int channels, int channel, int64_t from, int64_t to,
                            uint32_t rate) {
    from = std::clamp<int64_t>(from, 0, static_cast<int64_t>(s.size()) / channels);
    to = std::clamp<int64_t>(to, from, static_cast<int64_t>(s.size()) / channels);
    double first = -1.0, last = -1.0;
    int crossings = 0;
    for (int64_t f = from + 1; f < to; ++f) {
        const float a = s[size_t((f - 1) * channels + channel)], b = s[size_t(f * channels + channel)];
        if (a < 0.0f && b >= 0.0f) {
            last = double(f - 1) + a / (a - b);
            first = first < 0.0 ? last : first;
            ++crossings;
        }
    }
    return crossings < 2 ? 0.0 : (crossings - 1) * double(rate) / (last - first);
}

} // namespace tw::test
