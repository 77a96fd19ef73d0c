// Amplify and Normalize: one gain over every channel. Amplify glides from the old gain to a new one
// across a block, so that moving its control during playback does not click.
#include "Effect.h"
#include "Effects.h"

#include <cmath>
#include <new>

namespace bt {

namespace {

float DbToGain(float db) {
    return std::pow(10.0f, db / 20.0f);
}

const EffectInfo kAmplifyInfo = {
    u"Amplify",
    CLSID_BuiltinAmplify,
    0x504D4120, // "AMP "
    {{u"Gain (dB)", -48.0f, 48.0f, 0.0f, u"Gain", u"dB", 0, 0.1f, 1}},
    {{u"Double (+6 dB)", {6.0206f}},
     {u"Boost (+3 dB)", {3.0f}},
     {u"Cut (-3 dB)", {-3.0f}},
     {u"Half (-6 dB)", {-6.0206f}}},
};

class CAmplify : public CEffect {
public:
    CAmplify() : CEffect(kAmplifyInfo) {}

protected:
    bool Prepare() override { return true; }
    void Clear() override { m_gain = -1.0f; }

    HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) override {
        const float target = DbToGain(Value(0));
        const int channels = Channels();
        // The first block after a reset starts at the set gain; later ones glide to a new one.
        const float start = m_gain < 0.0f ? target : m_gain;
        const float step = frames > 0 ? (target - start) / static_cast<float>(frames) : 0.0f;
        for (int64_t f = 0; f < frames; ++f) {
            const float g = start + step * static_cast<float>(f + 1);
            float* frame = data + f * channels;
            for (int c = 0; c < channels; ++c)
                frame[c] *= g;
        }
        m_gain = target;
        return S_OK;
    }

private:
    float m_gain = -1.0f; // negative: no block since the last reset
};

const EffectInfo kNormalizeInfo = {
    u"Normalize",
    CLSID_BuiltinNormalize,
    0x4D524F4E, // "NORM"
    {{u"Peak level (dB)", -48.0f, 0.0f, -0.1f, u"Peak level", u"dB", 0, 0.1f, 1}},
    {{u"Full scale (0 dB)", {0.0f}},
     {u"-0.1 dB", {-0.1f}},
     {u"-1 dB", {-1.0f}},
     {u"-3 dB", {-3.0f}},
     {u"-6 dB", {-6.0f}}},
};

// Scales the selection so that its peak, as the document reports it, lands on the target level.
// Without a host or with a silent selection the material passes unchanged.
class CNormalize : public CEffect {
public:
    CNormalize() : CEffect(kNormalizeInfo) {}

protected:
    bool Prepare() override { return true; }
    void Clear() override { m_peak = -1.0f; }

    HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) override {
        if (m_peak < 0.0f) {
            float peak = 0.0f;
            if (Host() == nullptr || FAILED(Host()->GetSelectionPeak(&peak)) || !std::isfinite(peak))
                peak = 0.0f;
            m_peak = std::fabs(peak);
        }
        if (m_peak <= 0.0f)
            return S_OK;
        const float gain = DbToGain(Value(0)) / m_peak;
        const int64_t samples = frames * Channels();
        for (int64_t i = 0; i < samples; ++i)
            data[i] *= gain;
        return S_OK;
    }

private:
    float m_peak = -1.0f; // negative: not asked since the last reset
};

} // namespace

ITransform* CreateAmplify() {
    return new (std::nothrow) CAmplify();
}

ITransform* CreateNormalize() {
    return new (std::nothrow) CNormalize();
}

} // namespace bt
