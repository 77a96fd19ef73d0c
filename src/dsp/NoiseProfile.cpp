#include "dsp/NoiseProfile.h"

#include <algorithm>
#include <cstring>

namespace tw {

namespace {

class CBlobWriter {
public:
    void I16(int16_t v) { Bytes(static_cast<uint32_t>(static_cast<uint16_t>(v)), 2); }
    void I32(int32_t v) { Bytes(static_cast<uint32_t>(v), 4); }
    void F32(float v) {
        uint32_t bits;
        std::memcpy(&bits, &v, 4);
        Bytes(bits, 4);
    }
    void Zeros(size_t words) { m_out.insert(m_out.end(), words * 4, 0); }
    std::vector<uint8_t> Take() { return std::move(m_out); }

private:
    void Bytes(uint32_t v, int count) {
        for (int i = 0; i < count; ++i)
            m_out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    }
    std::vector<uint8_t> m_out;
};

} // namespace

std::vector<uint8_t> MakeNoiseProfileBlob(const float* profile, int channels) {
    CBlobWriter w;
    w.I16(-100);
    w.I16(50);
    w.I16(2);
    w.I16(static_cast<int16_t>(channels));
    w.I32(1);
    w.I32(kNoiseProfileBins);
    for (int i = 0; i < channels * kNoiseProfileBins; ++i)
        w.F32(profile[i]);
    // More than eight channels cannot be padded; such a blob fits no denoiser and is refused there.
    w.Zeros(static_cast<size_t>(std::max(0, kNoiseProfileMaxChannels - channels)) * kNoiseProfileBins);
    w.I32(0);
    w.I32(1);
    w.Zeros(kNoiseProfileBins);
    w.I32(0);
    w.F32(0.5f);
    w.F32(1.0f);
    w.F32(0.5f);
    w.Zeros(44);
    w.I32(2);
    w.I32(kNoiseProfileBins);
    return w.Take();
}

} // namespace tw
