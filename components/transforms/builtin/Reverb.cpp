// Reverb: per channel eight damped feedback combs in parallel and four allpasses in series, the
// classic Schroeder-Moorer network with the well-tried delay lengths, scaled to the sample rate and
// spread a little per channel so that the channels decorrelate.
#include "Effect.h"
#include "Effects.h"

#include <cmath>
#include <new>
#include <vector>

namespace bt {

namespace {

constexpr int kCombs = 8;
constexpr int kAllpasses = 4;
constexpr int kCombLengths[kCombs] = {1116, 1188, 1277, 1356, 1422, 1491, 1557, 1617};
constexpr int kAllpassLengths[kAllpasses] = {556, 441, 341, 225};
constexpr int kSpread = 23; // frames added per channel, at 44.1 kHz
constexpr float kInputGain = 0.015f;
constexpr float kWetScale = 3.0f;

const EffectInfo kReverbInfo = {
    u"Reverb",
    CLSID_BuiltinReverb,
    0x42524556, // "VERB"
    {{u"Room size (%)", 0.0f, 100.0f, 50.0f, u"Room size", u"%", 0, 1.0f, 0},
     {u"Damping (%)", 0.0f, 100.0f, 50.0f, u"Damping", u"%", 0, 1.0f, 0},
     {u"Mix (%)", 0.0f, 100.0f, 30.0f, u"Mix", u"%", 0, 1.0f, 0}},
    {{u"Small Room", {30.0f, 50.0f, 20.0f}},
     {u"Hall", {70.0f, 40.0f, 30.0f}},
     {u"Cathedral", {95.0f, 20.0f, 35.0f}},
     {u"Plate", {60.0f, 10.0f, 25.0f}}},
};

struct Comb {
    std::vector<float> line;
    size_t at = 0;
    float store = 0.0f;

    float Step(float in, float feedback, float damp) {
        const float out = line[at];
        store = out * (1.0f - damp) + store * damp;
        line[at] = in + store * feedback;
        if (++at == line.size())
            at = 0;
        return out;
    }
};

struct Allpass {
    std::vector<float> line;
    size_t at = 0;

    float Step(float in) {
        const float held = line[at];
        line[at] = in + held * 0.5f;
        if (++at == line.size())
            at = 0;
        return held - in;
    }
};

struct ChannelNet {
    Comb combs[kCombs];
    Allpass allpasses[kAllpasses];
};

class CReverb : public CEffect {
public:
    CReverb() : CEffect(kReverbInfo) {}

protected:
    bool Prepare() override {
        const double scale = Rate() / 44100.0;
        m_nets.assign(static_cast<size_t>(Channels()), ChannelNet());
        for (int c = 0; c < Channels(); ++c) {
            const int spread = kSpread * c;
            for (int i = 0; i < kCombs; ++i)
                m_nets[c].combs[i].line.resize(Scaled(kCombLengths[i] + spread, scale));
            for (int i = 0; i < kAllpasses; ++i)
                m_nets[c].allpasses[i].line.resize(Scaled(kAllpassLengths[i] + spread, scale));
        }
        m_longestComb = Scaled(kCombLengths[kCombs - 1] + kSpread * (Channels() - 1), scale);
        return true;
    }

    void Clear() override {
        for (auto& net : m_nets) {
            for (auto& comb : net.combs) {
                std::fill(comb.line.begin(), comb.line.end(), 0.0f);
                comb.at = 0;
                comb.store = 0.0f;
            }
            for (auto& ap : net.allpasses) {
                std::fill(ap.line.begin(), ap.line.end(), 0.0f);
                ap.at = 0;
            }
        }
    }

    HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) override {
        const float feedback = Feedback();
        const float damp = Value(1) / 100.0f * 0.4f;
        const float mix = Value(2) / 100.0f;
        const int channels = Channels();
        for (int64_t f = 0; f < frames; ++f) {
            float* frame = data + f * channels;
            for (int c = 0; c < channels; ++c) {
                ChannelNet& net = m_nets[c];
                const float in = frame[c] * kInputGain;
                float wet = 0.0f;
                for (auto& comb : net.combs)
                    wet += comb.Step(in, feedback, damp);
                for (auto& ap : net.allpasses)
                    wet = ap.Step(wet);
                frame[c] = frame[c] * (1.0f - mix) + wet * kWetScale * mix;
            }
        }
        return S_OK;
    }

    // Until the longest comb, undamped, has fallen by 60 dB, plus the allpass chain.
    int64_t TailFrames() const override {
        const double loops = std::log(1e-3) / std::log(static_cast<double>(Feedback()));
        int64_t allpass = 0;
        for (int len : kAllpassLengths)
            allpass += Scaled(len + kSpread * (Channels() - 1), Rate() / 44100.0);
        return static_cast<int64_t>(std::ceil(loops * static_cast<double>(m_longestComb))) + allpass;
    }

private:
    float Feedback() const { return 0.7f + 0.28f * Value(0) / 100.0f; }
    static size_t Scaled(int frames, double scale) {
        const auto n = static_cast<size_t>(std::lround(frames * scale));
        return n < 1 ? 1 : n;
    }

    std::vector<ChannelNet> m_nets;
    size_t m_longestComb = 1;
};

} // namespace

ITransform* CreateReverb() {
    return new (std::nothrow) CReverb();
}

} // namespace bt
