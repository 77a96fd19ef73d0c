// Parametric Equalizer: four peaking bands in series on every channel. A band at 0 dB is left out
// rather than run as an identity filter, so a flat setting passes the samples bit for bit.
#include "Biquad.h"
#include "Effect.h"
#include "Effects.h"

#include <array>
#include <new>
#include <vector>

namespace bt {

namespace {

constexpr int kBands = 4;

// A band's three parameters: the centre on a ratio scale, the gain in tenths of a decibel, and the
// width as Q on a ratio scale.
ParamInfo Frequency(const char16_t* name, const char16_t* label, float start) {
    return {name, 20.0f, 20000.0f, start, label, u"Hz", kParamLogarithmic, 1.0f, 0};
}

ParamInfo Gain(const char16_t* name, const char16_t* label) {
    return {name, -24.0f, 24.0f, 0.0f, label, u"dB", 0, 0.1f, 1};
}

ParamInfo Quality(const char16_t* name) {
    return {name, 0.1f, 10.0f, 1.0f, name, u"", kParamLogarithmic, 0.01f, 2};
}

const EffectInfo kEqualizerInfo = {
    u"Parametric Equalizer",
    CLSID_BuiltinEqualizer,
    0x51455150, // "PQEQ"
    {Frequency(u"Band 1 frequency (Hz)", u"Band 1 frequency", 100.0f),
     Gain(u"Band 1 gain (dB)", u"Band 1 gain"), Quality(u"Band 1 Q"),
     Frequency(u"Band 2 frequency (Hz)", u"Band 2 frequency", 500.0f),
     Gain(u"Band 2 gain (dB)", u"Band 2 gain"), Quality(u"Band 2 Q"),
     Frequency(u"Band 3 frequency (Hz)", u"Band 3 frequency", 2000.0f),
     Gain(u"Band 3 gain (dB)", u"Band 3 gain"), Quality(u"Band 3 Q"),
     Frequency(u"Band 4 frequency (Hz)", u"Band 4 frequency", 8000.0f),
     Gain(u"Band 4 gain (dB)", u"Band 4 gain"), Quality(u"Band 4 Q")},
    {{u"Flat", {100, 0, 1, 500, 0, 1, 2000, 0, 1, 8000, 0, 1}},
     {u"Bass Boost", {80, 6, 0.7f, 500, 0, 1, 2000, 0, 1, 8000, 0, 1}},
     {u"Presence", {100, 0, 1, 500, 0, 1, 3000, 4, 1.2f, 8000, 0, 1}},
     {u"Telephone", {150, -18, 0.5f, 1000, 4, 0.8f, 2500, 2, 1, 6000, -18, 0.5f}},
     {u"Hum Cut (50 Hz)", {50, -24, 8, 100, -12, 8, 150, -9, 8, 8000, 0, 1}}},
};

class CEqualizer : public CEffect {
public:
    CEqualizer() : CEffect(kEqualizerInfo) {}

protected:
    bool Prepare() override {
        m_states.assign(static_cast<size_t>(Channels() * kBands), BiquadState());
        m_known.fill(-1.0f); // forces new coefficients at the next block
        return true;
    }

    void Clear() override { std::fill(m_states.begin(), m_states.end(), BiquadState()); }

    HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) override {
        Update();
        const int channels = Channels();
        for (int b = 0; b < kBands; ++b) {
            if (!m_active[b])
                continue;
            const BiquadCoefficients& k = m_coefficients[b];
            for (int c = 0; c < channels; ++c) {
                BiquadState& s = m_states[static_cast<size_t>(c * kBands + b)];
                for (int64_t f = 0; f < frames; ++f) {
                    float& x = data[f * channels + c];
                    x = static_cast<float>(s.Step(k, x));
                }
            }
        }
        return S_OK;
    }

private:
    // New coefficients only when a value has moved since the last block.
    void Update() {
        for (int b = 0; b < kBands; ++b) {
            const float freq = Value(3 * b), gain = Value(3 * b + 1), q = Value(3 * b + 2);
            if (freq == m_known[3 * b] && gain == m_known[3 * b + 1] && q == m_known[3 * b + 2])
                continue;
            m_known[3 * b] = freq;
            m_known[3 * b + 1] = gain;
            m_known[3 * b + 2] = q;
            // Keep the centre below Nyquist, where the formulas still describe a peak.
            const double nyquistSafe = 0.49 * Rate();
            const double f = freq < nyquistSafe ? freq : nyquistSafe;
            m_active[b] = gain != 0.0f;
            m_coefficients[b] = BiquadCoefficients::Peaking(Rate(), f, gain, q);
        }
    }

    std::vector<BiquadState> m_states; // per channel, per band
    std::array<BiquadCoefficients, kBands> m_coefficients{};
    std::array<bool, kBands> m_active{};
    std::array<float, 3 * kBands> m_known{};
};

} // namespace

ITransform* CreateEqualizer() {
    return new (std::nothrow) CEqualizer();
}

} // namespace bt
