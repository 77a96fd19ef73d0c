// Test audio made on the spot with libsndfile: tones by name, raw bytes for damaged files, and a
// scratch folder removed after each test.
#pragma once

#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace twtest {

// Interleaved int32 samples (left-aligned) of a sine per channel, frequency rising with the channel.
inline std::vector<int32_t> Tone(int64_t frames, int channels, int rate, double amplitude = 0.5) {
    std::vector<int32_t> samples(static_cast<size_t>(frames * channels));
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c) {
            double v = amplitude * std::sin(2 * M_PI * (440.0 + 110.0 * c) * f / rate);
            samples[f * channels + c] = static_cast<int32_t>(std::lround(v * 2147483647.0));
        }
    return samples;
}

// Writes `samples` (left-aligned int32) with libsndfile; false when libsndfile refuses.
inline bool WriteSndFile(const std::string& path, int format, int channels, int rate,
                         const std::vector<int32_t>& samples) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file)
        return false;
    sf_count_t frames = static_cast<sf_count_t>(samples.size() / channels);
    bool ok = sf_writef_int(file, samples.data(), frames) == frames;
    return sf_close(file) == 0 && ok;
}

inline std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// The value `bits`-wide PCM holds for a left-aligned int32 sample (8 bits unsigned).
inline int32_t Narrow(int32_t sample, int bits) {
    if (bits == 8)
        return (sample >> 24) + 128;
    return sample >> (32 - bits);
}

// Little-endian packed PCM of `samples` narrowed to `bits`.
inline std::vector<uint8_t> Pack(const std::vector<int32_t>& samples, int bits) {
    std::vector<uint8_t> out;
    for (int32_t s : samples) {
        auto v = static_cast<uint32_t>(Narrow(s, bits));
        for (int b = 0; b < bits / 8; ++b)
            out.push_back(static_cast<uint8_t>(v >> (8 * b)));
    }
    return out;
}

class ScratchFolder {
public:
    ScratchFolder() {
        path_ = std::filesystem::temp_directory_path() /
                ("tw-fmt-" + std::to_string(::getpid()) + "-" + std::to_string(counter_++));
        std::filesystem::create_directories(path_);
    }
    ~ScratchFolder() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    std::string File(const std::string& name) const { return (path_ / name).string(); }

private:
    static inline int counter_ = 0;
    std::filesystem::path path_;
};

} // namespace twtest
