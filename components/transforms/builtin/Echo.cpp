// Echo: a feedback delay line per channel. The wet signal is the delayed line; the mix crossfades
// between the dry input and it.
#include "Effect.h"
#include "Effects.h"

#include <cmath>
#include <new>
#include <vector>

namespace bt {

namespace {

constexpr float kMaxDelayMs = 2000.0f;

const EffectInfo kEchoInfo = {
    u"Echo",
    CLSID_BuiltinEcho,
    0x4F484345, // "ECHO"
    {{u"Delay (ms)", 1.0f, kMaxDelayMs, 250.0f, u"Delay", u"ms", kParamLogarithmic, 1.0f, 0},
     {u"Feedback (%)", 0.0f, 95.0f, 40.0f, u"Feedback", u"%", 0, 1.0f, 0},
     {u"Mix (%)", 0.0f, 100.0f, 50.0f, u"Mix", u"%", 0, 1.0f, 0}},
    {{u"Slapback", {90.0f, 0.0f, 40.0f}},
     {u"Short Echo", {200.0f, 30.0f, 40.0f}},
     {u"Long Echo", {500.0f, 50.0f, 50.0f}},
     {u"Canyon", {800.0f, 70.0f, 50.0f}}},
};

class CEcho : public CEffect {
public:
    CEcho() : CEffect(kEchoInfo) {}

protected:
    bool Prepare() override {
        m_size = static_cast<int64_t>(std::ceil(kMaxDelayMs * Rate() / 1000.0)) + 1;
        m_line.assign(static_cast<size_t>(m_size * Channels()), 0.0f);
        return true;
    }

    void Clear() override {
        std::fill(m_line.begin(), m_line.end(), 0.0f);
        m_write = 0;
    }

    HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) override {
        const int channels = Channels();
        const int64_t delay = DelayFrames();
        const float feedback = Value(1) / 100.0f;
        const float mix = Value(2) / 100.0f;
        for (int64_t f = 0; f < frames; ++f) {
            int64_t read = m_write - delay;
            if (read < 0)
                read += m_size;
            float* frame = data + f * channels;
            float* line = m_line.data() + m_write * channels;
            const float* delayed = m_line.data() + read * channels;
            for (int c = 0; c < channels; ++c) {
                const float x = frame[c];
                const float d = delayed[c];
                line[c] = x + feedback * d;
                frame[c] = (1.0f - mix) * x + mix * d;
            }
            if (++m_write == m_size)
                m_write = 0;
        }
        return S_OK;
    }

    // Until the repeats have fallen by 60 dB.
    int64_t TailFrames() const override {
        const int64_t delay = DelayFrames();
        const double feedback = Value(1) / 100.0;
        if (feedback <= 0.001)
            return delay;
        const double repeats = std::ceil(std::log(1e-3) / std::log(feedback));
        return delay * (1 + static_cast<int64_t>(repeats));
    }

private:
    int64_t DelayFrames() const {
        const int64_t d = std::llround(Value(0) * Rate() / 1000.0);
        return d < 1 ? 1 : (d >= m_size ? m_size - 1 : d);
    }

    std::vector<float> m_line; // interleaved, m_size frames
    int64_t m_size = 1;
    int64_t m_write = 0;
};

} // namespace

ITransform* CreateEcho() {
    return new (std::nothrow) CEcho();
}

} // namespace bt
