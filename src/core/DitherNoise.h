// The dither noise of a sink: triangular values in about -0.25..+0.25 (three uniform draws of
// 0..32767 summed, over 196602, centred), one per sample, in the order the quantiser uses them.
//
// Each value comes from one step of a 64-bit mixing generator whose state only advances by a
// constant: one cheap step per sample instead of three locked calls of rand(), and no chain from
// value to value beyond that addition, so the quantiser computes it beside its own work. The
// object is a plain value that a block loop copies into a local and back. Not thread-safe: one
// per sink.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace tw {

class CDitherNoise {
public:
    explicit CDitherNoise(uint64_t origin = 0) : m_state(origin) {}

    // An origin from the C library's generator, so that srand decides reproducibility as it
    // would for rand() itself. Nothing here seeds rand().
    static uint64_t OriginFromRand() {
        uint64_t origin = 0;
        for (int i = 0; i < 4; ++i)
            origin = (origin << 16) ^ static_cast<uint64_t>(std::rand());
        return origin;
    }

    void Reset(uint64_t origin) { m_state = origin; }

    double Next() {
        m_state += kStep;
        return Value(m_state);
    }

private:
    static constexpr uint64_t kStep = 0x9E3779B97F4A7C15ull;

    // Three 15-bit draws from one mixed state; their sum over 196602 is centred on 0.25 (three
    // draws average 49150.5), which is taken off.
    static double Value(uint64_t z) {
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        z ^= z >> 31;
        const auto sum = static_cast<int32_t>((z & 0x7FFF) + ((z >> 15) & 0x7FFF) + ((z >> 30) & 0x7FFF));
        return sum / 196602.0 - 0.25;
    }

    uint64_t m_state;
};

} // namespace tw
