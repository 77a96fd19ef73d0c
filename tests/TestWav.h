// A plain 16-bit stereo 44.1 kHz WAV written by hand, for tests that run the editor as a separate
// program and link nothing of the system.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

namespace tw::test {

// `sample(frame, channel)` gives each sample.
template <class Sample> void WriteStereoWav16(const std::string& path, uint32_t frames, Sample sample) {
    std::ofstream out(path, std::ios::binary);
    auto u32 = [&](uint32_t v) { out.write(reinterpret_cast<const char*>(&v), 4); };
    auto u16 = [&](uint16_t v) { out.write(reinterpret_cast<const char*>(&v), 2); };
    out.write("RIFF", 4);
    u32(36 + frames * 4);
    out.write("WAVEfmt ", 8);
    u32(16);
    u16(1);
    u16(2);
    u32(44100);
    u32(44100 * 4);
    u16(4);
    u16(16);
    out.write("data", 4);
    u32(frames * 4);
    for (uint32_t f = 0; f < frames; ++f)
        for (int c = 0; c < 2; ++c)
            u16(static_cast<uint16_t>(sample(f, c)));
}

} // namespace tw::test
