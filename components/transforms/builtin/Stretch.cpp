// Time Stretch and Pitch Shift over Rubber Band in its real-time mode. The stretcher is fed the
// padding it prefers before the first block and its start delay is dropped from the output, so the
// output lines up with the input and the only length change is the one GetTimeRatio states. Blocks
// come out with as many frames as the stretcher has ready, which differs from block to block. The
// block that reaches the covered length (SetLength) flushes the stretcher, so a whole section comes
// out at its stated length rather than short by what the stretcher was still holding.
#include "Effect.h"
#include "Effects.h"

#include <rubberband/RubberBandStretcher.h>

#include <cmath>
#include <memory>
#include <new>
#include <vector>

namespace bt {

namespace {

using RubberBand::RubberBandStretcher;

constexpr size_t kChunk = 1024; // frames handed to the stretcher at a time

const EffectInfo kTimeStretchInfo = {
    u"Time Stretch",
    CLSID_BuiltinTimeStretch,
    0x48435453, // "STCH"
    {{u"Length (%)", 25.0f, 400.0f, 100.0f, u"Length", u"%", kParamLogarithmic, 1.0f, 0}},
    {{u"Half speed (200%)", {200.0f}},
     {u"Slower (125%)", {125.0f}},
     {u"Faster (80%)", {80.0f}},
     {u"Double speed (50%)", {50.0f}}},
};

const EffectInfo kPitchShiftInfo = {
    u"Pitch Shift",
    CLSID_BuiltinPitchShift,
    0x48435450, // "PTCH"
    {{u"Pitch (semitones)", -12.0f, 12.0f, 0.0f, u"Pitch", u"semitones", kParamInteger, 1.0f, 0},
     {u"Fine tune (cents)", -100.0f, 100.0f, 0.0f, u"Fine tune", u"cents", kParamInteger, 1.0f, 0}},
    {{u"Octave Down", {-12.0f, 0.0f}},
     {u"Whole Tone Down", {-2.0f, 0.0f}},
     {u"Whole Tone Up", {2.0f, 0.0f}},
     {u"Fifth Up", {7.0f, 0.0f}},
     {u"Octave Up", {12.0f, 0.0f}}},
};

class CStretch : public CEffect {
public:
    CStretch(const EffectInfo& info, bool pitch) : CEffect(info), m_pitch(pitch) {}

protected:
    bool Prepare() override {
        auto options =
            RubberBandStretcher::OptionProcessRealTime | RubberBandStretcher::OptionChannelsTogether;
        // A pitch that may move while playing needs the resampler on all the time to glide; a pure
        // stretch never resamples and runs at half the cost without it.
        if (m_pitch)
            options |= RubberBandStretcher::OptionPitchHighConsistency;
        try {
            m_stretcher = std::make_unique<RubberBandStretcher>(static_cast<size_t>(Rate()),
                                                                static_cast<size_t>(Channels()), options,
                                                                TimeRatio(), PitchScale());
            m_stretcher->setMaxProcessSize(kChunk);
        } catch (...) {
            m_stretcher.reset();
            return false;
        }
        m_planar.assign(static_cast<size_t>(Channels()), std::vector<float>(kChunk));
        m_pointers.assign(static_cast<size_t>(Channels()), nullptr);
        return true;
    }

    void Clear() override {
        if (m_stretcher)
            m_stretcher->reset();
        m_started = false;
        m_finished = false;
        m_drop = 0;
        m_due = 0.0;
        m_made = 0;
    }

    HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) override {
        const int channels = Channels();
        m_stretcher->setTimeRatio(TimeRatio());
        m_stretcher->setPitchScale(PitchScale());
        m_output.clear();
        if (m_finished)
            Clear(); // more material after a flushed section starts a new pass
        if (!m_started) {
            Feed(nullptr, static_cast<int64_t>(m_stretcher->getPreferredStartPad()), false);
            m_drop = static_cast<int64_t>(m_stretcher->getStartDelay());
            m_started = true;
        }
        m_due += static_cast<double>(frames) * TimeRatio();
        const bool last = Length() > 0 && Position() + frames >= Length();
        if (!last) {
            Feed(data, frames, false);
        } else {
            // The stretcher's delay holds the end of the material back; silence behind it pushes
            // the end out, and the pass is then cut to the frames it owes.
            Feed(data, frames, false);
            const double ratio = TimeRatio();
            Feed(nullptr, static_cast<int64_t>(std::ceil(m_stretcher->getStartDelay() / ratio)) + kChunk,
                 true);
            const auto due = static_cast<int64_t>(std::llround(m_due));
            const int64_t owed = std::max<int64_t>(0, due - m_made);
            m_output.resize(static_cast<size_t>(owed * channels), 0.0f);
            m_finished = true;
        }
        m_made += static_cast<int64_t>(m_output.size()) / channels;
        const auto outFrames = static_cast<ULONG>(m_output.size() / static_cast<size_t>(channels));
        *out = SafeArrayCreateVector(VT_R4, 0, outFrames * static_cast<ULONG>(channels));
        if (*out == nullptr)
            return E_OUTOFMEMORY;
        if (!m_output.empty())
            std::copy(m_output.begin(), m_output.end(), static_cast<float*>((*out)->pvData));
        return S_OK;
    }

    double TimeRatio() const override { return m_pitch ? 1.0 : Value(0) / 100.0; }

    // What the stretcher still owes for the input of this pass once that input ends; before a
    // pass, its delay.
    int64_t TailFrames() const override {
        if (!m_stretcher)
            return 0;
        if (!m_started || m_finished)
            return static_cast<int64_t>(std::ceil(m_stretcher->getStartDelay() * TimeRatio()));
        return std::max<int64_t>(0, std::llround(m_due) - m_made);
    }

private:
    double PitchScale() const { return m_pitch ? std::pow(2.0, (Value(0) + Value(1) / 100.0) / 12.0) : 1.0; }

    // Hands `frames` interleaved frames to the stretcher (silence when `data` is null) and collects
    // what it makes ready; with `last`, everything it holds.
    void Feed(const float* data, int64_t frames, bool last) {
        const int channels = Channels();
        int64_t done = 0;
        while (done < frames || (last && done == frames)) {
            const auto n = static_cast<size_t>(std::min<int64_t>(frames - done, kChunk));
            for (int c = 0; c < channels; ++c) {
                float* plane = m_planar[c].data();
                for (size_t i = 0; i < n; ++i)
                    plane[i] = data != nullptr ? data[(done + static_cast<int64_t>(i)) * channels + c] : 0.0f;
                m_pointers[c] = plane;
            }
            done += static_cast<int64_t>(n);
            const bool final = last && done == frames;
            m_stretcher->process(m_pointers.data(), n, final);
            Collect();
            if (final)
                break;
        }
    }

    void Collect() {
        const int channels = Channels();
        for (int ready = m_stretcher->available(); ready > 0; ready = m_stretcher->available()) {
            const size_t n = std::min<size_t>(static_cast<size_t>(ready), kChunk);
            for (int c = 0; c < channels; ++c)
                m_pointers[c] = m_planar[c].data();
            const size_t got = m_stretcher->retrieve(m_pointers.data(), n);
            if (got == 0)
                break;
            size_t first = 0;
            if (m_drop > 0) {
                first = static_cast<size_t>(std::min<int64_t>(m_drop, static_cast<int64_t>(got)));
                m_drop -= static_cast<int64_t>(first);
            }
            for (size_t i = first; i < got; ++i)
                for (int c = 0; c < channels; ++c)
                    m_output.push_back(m_planar[c][i]);
        }
    }

    bool m_pitch;
    std::unique_ptr<RubberBandStretcher> m_stretcher;
    std::vector<std::vector<float>> m_planar;
    std::vector<float*> m_pointers;
    std::vector<float> m_output; // interleaved frames of the present block
    bool m_started = false;
    bool m_finished = false; // the covered length has been flushed through
    int64_t m_drop = 0;      // start-delay frames still to drop
    double m_due = 0.0;      // output frames the input of this pass stands for
    int64_t m_made = 0;      // output frames handed out in this pass
};

} // namespace

ITransform* CreateTimeStretch() {
    return new (std::nothrow) CStretch(kTimeStretchInfo, false);
}

ITransform* CreatePitchShift() {
    return new (std::nothrow) CStretch(kPitchShiftInfo, true);
}

} // namespace bt
