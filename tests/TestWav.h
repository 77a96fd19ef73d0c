// A plain 16-bit stereo 44.1 kHz WAV written by hand, for tests that run the editor as a separate
// program and link nothing of the system.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace tw::test {

// `sample(frame, channel)` gives each sample. Each frame of `cues` becomes a cue point of a "cue "
// chunk after the samples, which the editor reads as a track split.
template <class Sample>
void WriteStereoWav16(const std::string& path, uint32_t frames, Sample sample,
                      const std::vector<uint32_t>& cues = {}) {
    std::ofstream out(path, std::ios::binary);
    auto u32 = [&](uint32_t v) { out.write(reinterpret_cast<const char*>(&v), 4); };
    auto u16 = [&](uint16_t v) { out.write(reinterpret_cast<const char*>(&v), 2); };
    const auto cueBytes = static_cast<uint32_t>(cues.empty() ? 0 : 12 + 24 * cues.size());
    out.write("RIFF", 4);
    u32(36 + frames * 4 + cueBytes);
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
    if (cues.empty())
        return;
    out.write("cue ", 4);
    u32(cueBytes - 8);
    u32(static_cast<uint32_t>(cues.size()));
    for (uint32_t i = 0; i < cues.size(); ++i) {
        u32(i + 1);   // id
        u32(cues[i]); // position in play order
        out.write("data", 4);
        u32(0);       // chunk start
        u32(0);       // block start
        u32(cues[i]); // sample offset: the frame
    }
}

} // namespace tw::test
