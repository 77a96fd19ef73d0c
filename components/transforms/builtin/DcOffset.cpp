// DC Offset Removal: a one-pole, one-zero high-pass a few hertz up. Its memory is primed with the
// first sample after a reset, so a section that starts on an offset does not begin with a step.
#include "Effect.h"
#include "Effects.h"

#include <cmath>
#include <new>
#include <vector>

namespace bt {

namespace {

const EffectInfo kDcOffsetInfo = {
    u"DC Offset Removal",
    CLSID_BuiltinDcOffset,
    0x46464F44, // "DOFF"
    {{u"Cutoff (Hz)", 1.0f, 20.0f, 5.0f, u"Cutoff", u"Hz", 0, 0.1f, 1}},
    {{u"Standard (5 Hz)", {5.0f}}, {u"Gentle (2 Hz)", {2.0f}}, {u"Firm (15 Hz)", {15.0f}}},
    // Removing an offset is a one-step command; its menu's presets choose another corner.
    false,
};

class CDcOffset : public CEffect {
public:
    CDcOffset() : CEffect(kDcOffsetInfo) {}

protected:
    bool Prepare() override {
        m_lastIn.assign(static_cast<size_t>(Channels()), 0.0);
        m_lastOut.assign(static_cast<size_t>(Channels()), 0.0);
        return true;
    }

    void Clear() override {
        std::fill(m_lastIn.begin(), m_lastIn.end(), 0.0);
        std::fill(m_lastOut.begin(), m_lastOut.end(), 0.0);
        m_primed = false;
    }

    HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) override {
        const int channels = Channels();
        if (frames > 0 && !m_primed) {
            for (int c = 0; c < channels; ++c)
                m_lastIn[c] = data[c];
            m_primed = true;
        }
        const double pole = std::exp(-2.0 * M_PI * Value(0) / Rate());
        for (int64_t f = 0; f < frames; ++f) {
            float* frame = data + f * channels;
            for (int c = 0; c < channels; ++c) {
                const double x = frame[c];
                const double y = x - m_lastIn[c] + pole * m_lastOut[c];
                m_lastIn[c] = x;
                m_lastOut[c] = y;
                frame[c] = static_cast<float>(y);
            }
        }
        return S_OK;
    }

private:
    std::vector<double> m_lastIn;
    std::vector<double> m_lastOut;
    bool m_primed = false;
};

} // namespace

ITransform* CreateDcOffset() {
    return new (std::nothrow) CDcOffset();
}

} // namespace bt
