// Compressor: a peak detector on the loudest channel (channels linked, so the image does not
// wander), a hard-knee gain computer in decibels, and gain-reduction smoothing with separate attack
// and release times. The detector grabs peaks at once and decays at the release rate, so the
// reduction settles on the peak level of a steady signal rather than riding each cycle.
#include "Effect.h"
#include "Effects.h"

#include <cmath>
#include <new>

namespace bt {

namespace {

const EffectInfo kCompressorInfo = {
    u"Compressor",
    CLSID_BuiltinCompressor,
    0x504D4F43, // "COMP"
    {{u"Threshold (dB)", -60.0f, 0.0f, -20.0f, u"Threshold", u"dB", 0, 0.1f, 1},
     {u"Ratio", 1.0f, 20.0f, 4.0f, u"Ratio", u":1", kParamLogarithmic, 0.1f, 1},
     {u"Attack (ms)", 0.1f, 200.0f, 10.0f, u"Attack", u"ms", kParamLogarithmic, 0.1f, 1},
     {u"Release (ms)", 1.0f, 2000.0f, 100.0f, u"Release", u"ms", kParamLogarithmic, 1.0f, 0},
     {u"Make-up gain (dB)", 0.0f, 30.0f, 0.0f, u"Make-up gain", u"dB", 0, 0.1f, 1}},
    {{u"Gentle", {-18.0f, 2.0f, 20.0f, 200.0f, 2.0f}},
     {u"Vocal", {-20.0f, 4.0f, 5.0f, 150.0f, 4.0f}},
     {u"Heavy", {-30.0f, 8.0f, 5.0f, 100.0f, 10.0f}},
     {u"Limiter", {-6.0f, 20.0f, 0.1f, 50.0f, 0.0f}}},
};

constexpr double kDbPerOctave = 6.020599913279624; // 20 * log10(2)

double Coefficient(double ms, double rate) {
    return std::exp(-1.0 / (ms / 1000.0 * rate));
}

class CCompressor : public CEffect {
public:
    CCompressor() : CEffect(kCompressorInfo) {}

protected:
    bool Prepare() override { return true; }

    void Clear() override {
        m_envelope = 0.0;
        m_reduction = 0.0;
    }

    HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) override {
        const double threshold = Value(0);
        const double slope = 1.0 - 1.0 / Value(1);
        const double attack = Coefficient(Value(2), Rate());
        const double release = Coefficient(Value(3), Rate());
        const double makeup = Value(4);
        const int channels = Channels();
        for (int64_t f = 0; f < frames; ++f) {
            float* frame = data + f * channels;
            double peak = 0.0;
            for (int c = 0; c < channels; ++c)
                peak = std::fmax(peak, std::fabs(frame[c]));
            m_envelope = std::fmax(peak, m_envelope * release);
            // Decibels through base-2 logarithms in float: the per-sample cost of the gain
            // computer, with an error far below what a listener or the detector's ripple shows.
            const double level =
                m_envelope > 1e-9 ? kDbPerOctave * std::log2(static_cast<float>(m_envelope)) : -180.0;
            const double target = level > threshold ? (level - threshold) * slope : 0.0;
            const double k = target > m_reduction ? attack : release;
            m_reduction = target + (m_reduction - target) * k;
            const float gain = std::exp2(static_cast<float>((makeup - m_reduction) / kDbPerOctave));
            for (int c = 0; c < channels; ++c)
                frame[c] *= gain;
        }
        return S_OK;
    }

private:
    double m_envelope = 0.0;  // linear peak
    double m_reduction = 0.0; // dB, positive
};

} // namespace

ITransform* CreateCompressor() {
    return new (std::nothrow) CCompressor();
}

} // namespace bt
