#include "dsp/Resampler.h"

#include "dsp/DotProduct.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tw {

namespace {

// The table is built with pi as a float, as the filter has always been.
constexpr float kPi = 3.1415927f;

bool ValidFormat(const CResampler::Format& f) {
    return f.rate > 0 && f.channels >= 1 && f.channels <= 8 &&
           (f.bits == 8 || f.bits == 16 || f.bits == 24 || f.bits == 32);
}

} // namespace

bool CResampler::Setup(const Format& source, const Format& target, int32_t mode, int32_t halfWidth,
                       bool floats) {
    if (!ValidFormat(source) || !ValidFormat(target))
        return false;
    if (floats && (source.bits != 32 || target.bits != 32))
        return false;
    if (mode != kLinear && mode != kSinc)
        return false;
    if (mode == kSinc && halfWidth < 1)
        return false;

    m_source = source;
    m_target = target;
    m_floats = floats;
    m_mode = mode;
    m_requestedHalf = halfWidth;
    m_sourceFrameBytes = source.bits / 8 * source.channels;
    m_targetFrameBytes = target.bits / 8 * target.channels;

    m_inputCapacity = kInputBytes - kInputBytes % static_cast<uint32_t>(m_sourceFrameBytes);
    m_outputCapacity =
        static_cast<uint32_t>(static_cast<int64_t>(m_targetFrameBytes) * m_inputCapacity * target.rate /
                              (static_cast<int64_t>(m_sourceFrameBytes) * source.rate));
    m_ratio = static_cast<float>(static_cast<double>(m_sourceFrameBytes) * source.rate /
                                 (static_cast<double>(m_targetFrameBytes) * target.rate));

    if (mode == kLinear) {
        m_half = 2;
    } else {
        // A decimating filter widens by the ratio so that its cut-off, which falls with the target
        // rate, keeps the same steepness in source frames.
        const double widened = std::max(1.0, static_cast<double>(m_ratio)) * halfWidth;
        m_half = static_cast<int32_t>(std::min<double>(widened, kMaxHalf));
    }
    m_taps = 2 * m_half - 1;

    m_input.assign(m_inputCapacity, 0);
    m_output.assign(m_outputCapacity, 0);
    m_outputBytes = 0;
    m_inFrames = 0;
    m_outFrames = 0;

    const int64_t capacityFrames = m_inputCapacity / m_sourceFrameBytes;
    m_stride = capacityFrames + 2 * m_half;
    m_history.assign(static_cast<size_t>(m_stride * source.channels), 0.0f);

    m_table.clear();
    if (mode == kSinc)
        BuildTable();
    return true;
}

void CResampler::BuildTable() {
    m_table.assign(static_cast<size_t>(kPhases) * m_taps, 0.0f);
    const float cut =
        static_cast<float>(std::min(0.9, m_target.rate * 0.9 / static_cast<double>(m_source.rate)));
    for (int32_t p = 0; p < kPhases; ++p) {
        const float f = static_cast<float>(p) / kPhases;
        float* row = &m_table[static_cast<size_t>(p) * m_taps];
        for (int32_t k = 1 - m_half; k <= m_half - 1; ++k) {
            if (p == 0 && k == 0) {
                row[m_half - 1] = cut;
                continue;
            }
            const float x = (f - static_cast<float>(k)) * cut * kPi;
            const float sinc = std::sin(x) * cut / x;
            // The window runs over k + f while the sinc runs over f - k: the Hamming window is
            // mirrored for the fraction. Converted files depend on exactly these coefficients.
            const float w = 0.54f + 0.46f * std::cos(static_cast<float>(k * kPhases + p) * kPi /
                                                     static_cast<float>(m_half * kPhases));
            row[m_half + k - 1] = w * sinc;
        }
    }
}

float CResampler::ReadSample(const uint8_t* frames, int64_t frame, int32_t channel) const {
    const int32_t bytes = m_source.bits / 8;
    const uint8_t* p = frames + frame * m_sourceFrameBytes + static_cast<int64_t>(channel) * bytes;
    if (m_floats) {
        float v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    switch (m_source.bits) {
    case 8:
        return (static_cast<float>(p[0]) - 128.0f) * 128.0f;
    case 16: {
        int16_t v;
        std::memcpy(&v, p, sizeof v);
        return static_cast<float>(v);
    }
    case 24: {
        const int32_t v =
            static_cast<int32_t>(static_cast<uint32_t>(p[0]) << 8 | static_cast<uint32_t>(p[1]) << 16 |
                                 static_cast<uint32_t>(p[2]) << 24) >>
            8;
        return static_cast<float>(v) * 0.0078125f;
    }
    default: {
        int32_t v;
        std::memcpy(&v, p, sizeof v);
        return static_cast<float>(v) * 3.0517578e-5f;
    }
    }
}

void CResampler::WriteSample(uint8_t* frames, int64_t frame, int32_t channel, float value) const {
    const int32_t bytes = m_target.bits / 8;
    uint8_t* p = frames + frame * m_targetFrameBytes + static_cast<int64_t>(channel) * bytes;
    if (m_floats) {
        std::memcpy(p, &value, sizeof value);
        return;
    }
    const float v = std::clamp(value, -32767.0f, 32767.0f);
    switch (m_target.bits) {
    case 8:
        p[0] = static_cast<uint8_t>(v * 0.00390625f + 128.0f);
        break;
    case 16: {
        const int16_t s = static_cast<int16_t>(v);
        std::memcpy(p, &s, sizeof s);
        break;
    }
    case 24: {
        const int32_t s = static_cast<int32_t>(v * 256.0f);
        p[0] = static_cast<uint8_t>(s);
        p[1] = static_cast<uint8_t>(s >> 8);
        p[2] = static_cast<uint8_t>(s >> 16);
        break;
    }
    default: {
        const int32_t s = static_cast<int32_t>(v * 65536.0f);
        std::memcpy(p, &s, sizeof s);
        break;
    }
    }
}

uint32_t CResampler::Process(uint32_t bytes) {
    m_outputBytes = 0;
    if (m_sourceFrameBytes == 0)
        return 0;
    bytes = std::min(bytes, m_inputCapacity);
    m_inFrames = bytes / m_sourceFrameBytes;
    m_outFrames = m_inFrames * m_target.rate / m_source.rate;
    if (m_outFrames <= 0)
        return 0;

    if (m_source.rate == m_target.rate) {
        ProcessEqualRates();
    } else {
        FillHistory();
        Filter();
        KeepHistory();
    }
    m_outputBytes = static_cast<uint32_t>(m_outFrames * m_targetFrameBytes);
    return m_outputBytes;
}

void CResampler::ProcessEqualRates() {
    for (int64_t i = 0; i < m_outFrames; ++i) {
        const int64_t frame = m_inFrames * i / m_outFrames;
        for (int32_t c = 0; c < m_target.channels; ++c)
            WriteSample(m_output.data(), i, c,
                        ReadSample(m_input.data(), frame, std::min(c, m_source.channels - 1)));
    }
}

void CResampler::FillHistory() {
    const int64_t offset = 2 * m_half;
    if (m_target.channels >= 2) {
        for (int32_t c = 0; c < m_source.channels; ++c) {
            float* row = &m_history[static_cast<size_t>(c * m_stride + offset)];
            for (int64_t j = 0; j < m_inFrames; ++j)
                row[j] = ReadSample(m_input.data(), j, c);
        }
        return;
    }
    float* row = &m_history[static_cast<size_t>(offset)];
    const float scale = 1.0f / static_cast<float>(m_source.channels);
    for (int64_t j = 0; j < m_inFrames; ++j) {
        float sum = 0.0f;
        for (int32_t c = 0; c < m_source.channels; ++c)
            sum += ReadSample(m_input.data(), j, c);
        row[j] = sum * scale;
    }
}

void CResampler::Filter() {
    const DotProductFunction dot = BestDotProduct();
    const DotProductPairFunction pair = BestDotProductPair();
    // pos = inFrames * i / outFrames and phase = (inFrames * i * 1024 / outFrames) % 1024 are the
    // whole and the fraction of one quotient, which steps by a fixed amount: it is carried from
    // frame to frame instead of divided anew.
    const int64_t step = m_inFrames * kPhases;
    const int64_t stepWhole = m_outFrames > 0 ? step / m_outFrames : 0;
    const int64_t stepRest = m_outFrames > 0 ? step % m_outFrames : 0;
    int64_t quotient = 0;
    int64_t rest = 0;
    for (int64_t i = 0; i < m_outFrames; ++i) {
        const int64_t pos = quotient / kPhases;
        const int64_t phase = quotient % kPhases;
        quotient += stepWhole;
        rest += stepRest;
        if (rest >= m_outFrames) {
            rest -= m_outFrames;
            ++quotient;
        }
        if (m_mode != kSinc) {
            // The linear mode interpolates the first row for every channel: it was only ever
            // meant for mono material.
            const float t = static_cast<float>(phase) / kPhases;
            const float value = m_history[static_cast<size_t>(pos + 1)] * t +
                                (1.0f - t) * m_history[static_cast<size_t>(pos)];
            for (int32_t c = 0; c < m_target.channels; ++c)
                WriteSample(m_output.data(), i, c, value);
            continue;
        }
        const float* row = &m_table[static_cast<size_t>(phase) * m_taps];
        // k = 1 - half .. half - 1 reads history[pos + half + k], starting at pos + 1.
        auto history = [&](int32_t c) {
            const int64_t r = std::min(c, m_source.channels - 1);
            return &m_history[static_cast<size_t>(r * m_stride + pos + 1)];
        };
        int32_t c = 0;
        for (; c + 2 <= m_target.channels; c += 2) {
            float values[2];
            pair(history(c), history(c + 1), row, m_taps, values);
            WriteSample(m_output.data(), i, c, values[0]);
            WriteSample(m_output.data(), i, c + 1, values[1]);
        }
        if (c < m_target.channels)
            WriteSample(m_output.data(), i, c, dot(history(c), row, m_taps));
    }
}

void CResampler::KeepHistory() {
    const int64_t keep = 2 * m_half;
    const int32_t rows = m_target.channels >= 2 ? m_source.channels : 1;
    for (int32_t r = 0; r < rows; ++r) {
        float* row = &m_history[static_cast<size_t>(r * m_stride)];
        std::memmove(row, row + m_inFrames, static_cast<size_t>(keep) * sizeof(float));
    }
}

} // namespace tw
