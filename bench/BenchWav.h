// The benchmarks' test recording: a 16-bit 44.1 kHz stereo WAV of a tone with noise on it, louder
// towards the end, so that every block of 256 frames has different extremes.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace bench {

constexpr int kChannels = 2;
constexpr int kRate = 44100;
constexpr int kHeader = 44; // bytes before the first sample

inline void PutU16(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}
inline void PutU32(std::vector<uint8_t>& out, uint32_t v) {
    PutU16(out, v & 0xffff);
    PutU16(out, v >> 16);
}

// A tone with noise on it, louder towards the end, so that every block has different extremes.
inline bool WriteTestWav(const std::string& path, int64_t frames) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    const uint32_t dataBytes = static_cast<uint32_t>(frames * kChannels * 2);
    std::vector<uint8_t> header;
    for (char c : std::string("RIFF"))
        header.push_back(static_cast<uint8_t>(c));
    PutU32(header, 36 + dataBytes);
    for (char c : std::string("WAVEfmt "))
        header.push_back(static_cast<uint8_t>(c));
    PutU32(header, 16);
    PutU16(header, 1);
    PutU16(header, kChannels);
    PutU32(header, kRate);
    PutU32(header, kRate * kChannels * 2);
    PutU16(header, kChannels * 2);
    PutU16(header, 16);
    for (char c : std::string("data"))
        header.push_back(static_cast<uint8_t>(c));
    PutU32(header, dataBytes);
    bool ok = std::fwrite(header.data(), 1, header.size(), file) == header.size();

    std::vector<int16_t> chunk(1 << 20);
    uint32_t noise = 12345;
    const double step = 2.0 * M_PI * 440.0 / kRate;
    for (int64_t done = 0; ok && done < frames;) {
        const int64_t n = std::min<int64_t>(static_cast<int64_t>(chunk.size()) / kChannels, frames - done);
        for (int64_t i = 0; i < n; ++i) {
            const int64_t frame = done + i;
            const double level = 0.2 + 0.7 * static_cast<double>(frame) / static_cast<double>(frames);
            const double tone = std::sin(step * static_cast<double>(frame % (kRate * 10)));
            for (int c = 0; c < kChannels; ++c) {
                noise = noise * 1664525u + 1013904223u;
                const double jitter = (static_cast<int32_t>(noise >> 16) - 32768) / 32768.0 * 0.1;
                const double v = std::clamp((tone + jitter) * level * (c ? 0.8 : 1.0), -1.0, 1.0);
                chunk[static_cast<size_t>(i * kChannels + c)] =
                    static_cast<int16_t>(std::lround(v * 32767.0));
            }
        }
        const size_t count = static_cast<size_t>(n * kChannels);
        ok = std::fwrite(chunk.data(), sizeof(int16_t), count, file) == count;
        done += n;
    }
    return std::fclose(file) == 0 && ok;
}

} // namespace bench
