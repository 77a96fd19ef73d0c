// Fade In and Fade Out: an envelope over the covered length (SetLength), evaluated at the absolute
// frame of each sample (SetReadPosition, then advancing block by block), so that blocks of any size
// and clones that start mid-way give one continuous curve.
#include "Effect.h"
#include "Effects.h"

#include <cmath>
#include <new>

namespace bt {

namespace {

enum Shape { kLinear = 0, kLogarithmic = 1, kExponential = 2, kSCurve = 3 };

// Gain of a rising fade at progress `p` (0 to 1) along it.
double RisingGain(int shape, double p) {
    switch (shape) {
    case kLogarithmic: // fast rise, slow finish
        return std::log10(1.0 + 9.0 * p);
    case kExponential: // a straight line in decibels over the last 40 dB
        return (std::pow(100.0, p) - 1.0) / 99.0;
    case kSCurve:
        return 0.5 - 0.5 * std::cos(M_PI * p);
    default:
        return p;
    }
}

const std::vector<PresetInfo> kShapePresets = {
    {u"Linear", {0.0f}}, {u"Logarithmic", {1.0f}}, {u"Exponential", {2.0f}}, {u"S-Curve", {3.0f}}};

const ParamInfo kShapeParam = {u"Shape (0 linear, 1 logarithmic, 2 exponential, 3 S-curve)",
                               0.0f,
                               3.0f,
                               0.0f,
                               u"Shape",
                               u"",
                               kParamChoice | kParamInteger,
                               1.0f,
                               0,
                               {u"Linear", u"Logarithmic", u"Exponential", u"S-Curve"}};

const EffectInfo kFadeInInfo = {
    u"Fade In", // rises from silence across the covered length
    CLSID_BuiltinFadeIn,
    0x4E494446, // "FDIN"
    {kShapeParam},
    kShapePresets, // one per shape
};

const EffectInfo kFadeOutInfo = {
    u"Fade Out", // falls to silence across the covered length
    CLSID_BuiltinFadeOut,
    0x54554F46, // "FOUT"
    {kShapeParam},
    kShapePresets, // one per shape
};

class CFade : public CEffect {
public:
    CFade(const EffectInfo& info, bool rising) : CEffect(info), m_rising(rising) {}

protected:
    bool Prepare() override { return true; }
    void Clear() override {}

    HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) override {
        const int64_t length = Length();
        if (length <= 0)
            return S_OK; // nothing to fade over
        const int shape = static_cast<int>(std::lround(Value(0)));
        const int channels = Channels();
        const int64_t start = Position();
        for (int64_t f = 0; f < frames; ++f) {
            const int64_t at = start + f;
            double p = static_cast<double>(at) / static_cast<double>(length);
            p = p < 0.0 ? 0.0 : (p > 1.0 ? 1.0 : p);
            const float g = static_cast<float>(RisingGain(shape, m_rising ? p : 1.0 - p));
            float* frame = data + f * channels;
            for (int c = 0; c < channels; ++c)
                frame[c] *= g;
        }
        return S_OK;
    }

private:
    bool m_rising;
};

} // namespace

ITransform* CreateFadeIn() {
    return new (std::nothrow) CFade(kFadeInInfo, true);
}

ITransform* CreateFadeOut() {
    return new (std::nothrow) CFade(kFadeOutInfo, false);
}

} // namespace bt
