#include "FilterNetwork.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace sr {

void CFilterNetwork::Reset(int32_t inputs, int32_t outputs) {
    m_inputs = inputs;
    m_outputs = outputs;
    m_buses.clear();
    m_dense.clear();
    m_sparse.clear();
    m_history.clear();
    m_signals.clear();
    m_sums.clear();
    m_tailFrames = 0;
}

int32_t CFilterNetwork::AddBus(const std::vector<float>& weights, float lowPass) {
    BusState state;
    state.bus.weights = weights;
    state.bus.weights.resize(static_cast<size_t>(m_inputs), 0.0f);
    state.bus.lowPass = std::clamp(lowPass, 1e-6f, 1.0f);
    m_buses.push_back(std::move(state));
    return m_inputs + static_cast<int32_t>(m_buses.size()) - 1;
}

void CFilterNetwork::AddDense(int32_t output, int32_t signal, std::vector<float> taps) {
    if (!taps.empty())
        m_dense.push_back(Dense{output, signal, std::move(taps)});
}

void CFilterNetwork::AddSparse(int32_t output, int32_t signal, std::vector<SparseTap> taps) {
    if (!taps.empty())
        m_sparse.push_back(Sparse{output, signal, std::move(taps)});
}

void CFilterNetwork::Prepare() {
    const size_t signals = static_cast<size_t>(m_inputs) + m_buses.size();
    m_history.assign(signals, 0);
    for (const Dense& d : m_dense)
        m_history[static_cast<size_t>(d.signal)] =
            std::max(m_history[static_cast<size_t>(d.signal)], static_cast<int32_t>(d.taps.size()) - 1);
    for (const Sparse& s : m_sparse)
        for (const SparseTap& t : s.taps)
            m_history[static_cast<size_t>(s.signal)] =
                std::max(m_history[static_cast<size_t>(s.signal)], t.delay);
    m_tailFrames = 0;
    for (int32_t h : m_history)
        m_tailFrames = std::max(m_tailFrames, h);
    m_signals.assign(signals, {});
    for (size_t s = 0; s < signals; ++s)
        m_signals[s].assign(static_cast<size_t>(m_history[s] + kChunkFrames), 0.0f);
    m_sums.assign(static_cast<size_t>(m_outputs), std::vector<float>(kChunkFrames, 0.0f));
    Clear();
}

void CFilterNetwork::Clear() {
    for (auto& s : m_signals)
        std::fill(s.begin(), s.end(), 0.0f);
    for (BusState& b : m_buses)
        b.state = 0.0f;
}

int32_t CFilterNetwork::FirstResponseFrame() const {
    int32_t first = INT32_MAX;
    for (const Dense& d : m_dense)
        for (size_t k = 0; k < d.taps.size(); ++k)
            if (d.taps[k] != 0.0f) {
                first = std::min(first, static_cast<int32_t>(k));
                break;
            }
    for (const Sparse& s : m_sparse)
        for (const SparseTap& t : s.taps)
            if (t.gain != 0.0f)
                first = std::min(first, t.delay);
    return first == INT32_MAX ? 0 : first;
}

float CFilterNetwork::SignalWeight(int32_t signal) const {
    if (signal < m_inputs)
        return 1.0f;
    float sum = 0.0f;
    for (float w : m_buses[static_cast<size_t>(signal - m_inputs)].bus.weights)
        sum += std::fabs(w);
    return sum;
}

float CFilterNetwork::InputWeight(int32_t signal, int32_t input) const {
    if (signal < m_inputs)
        return signal == input ? 1.0f : 0.0f;
    return m_buses[static_cast<size_t>(signal - m_inputs)].bus.weights[static_cast<size_t>(input)];
}

void CFilterNetwork::Process(const float* input, float* output, int32_t frames, float gain) {
    for (int32_t done = 0; done < frames;) {
        const int32_t n = std::min(kChunkFrames, frames - done);
        ProcessChunk(input != nullptr ? input + static_cast<size_t>(done) * m_inputs : nullptr,
                     output + static_cast<size_t>(done) * m_outputs, n, gain);
        done += n;
    }
}

void CFilterNetwork::ProcessChunk(const float* input, float* output, int32_t frames, float gain) {
    const size_t n = static_cast<size_t>(frames);
    // Each signal's new samples go right behind its history, so a filter reads one flat run.
    for (int32_t c = 0; c < m_inputs; ++c) {
        float* dst = m_signals[static_cast<size_t>(c)].data() + m_history[static_cast<size_t>(c)];
        if (input == nullptr)
            std::fill(dst, dst + n, 0.0f);
        else
            for (size_t f = 0; f < n; ++f)
                dst[f] = input[f * static_cast<size_t>(m_inputs) + static_cast<size_t>(c)];
    }
    for (size_t b = 0; b < m_buses.size(); ++b) {
        const size_t signal = static_cast<size_t>(m_inputs) + b;
        float* dst = m_signals[signal].data() + m_history[signal];
        std::fill(dst, dst + n, 0.0f);
        BusState& bus = m_buses[b];
        for (int32_t c = 0; c < m_inputs; ++c) {
            const float w = bus.bus.weights[static_cast<size_t>(c)];
            if (w == 0.0f)
                continue;
            const float* src = m_signals[static_cast<size_t>(c)].data() + m_history[static_cast<size_t>(c)];
            for (size_t f = 0; f < n; ++f)
                dst[f] += w * src[f];
        }
        if (bus.bus.lowPass < 1.0f) {
            const float a = bus.bus.lowPass;
            float y = bus.state;
            for (size_t f = 0; f < n; ++f) {
                y += a * (dst[f] - y);
                dst[f] = y;
            }
            // A state decayed below the smallest normal float would only cost denormal time.
            bus.state = std::fabs(y) < 1e-30f ? 0.0f : y;
        }
    }

    for (auto& sum : m_sums)
        std::fill(sum.begin(), sum.begin() + static_cast<std::ptrdiff_t>(n), 0.0f);
    // Tap by tap over the whole run (not sample by sample over the taps): the inner loop is a
    // plain scaled add that vectorises, and every output sample still adds its taps in tap order.
    for (const Dense& d : m_dense) {
        float* sum = m_sums[static_cast<size_t>(d.output)].data();
        const float* base =
            m_signals[static_cast<size_t>(d.signal)].data() + m_history[static_cast<size_t>(d.signal)];
        for (size_t k = 0; k < d.taps.size(); ++k) {
            const float g = d.taps[k];
            if (g == 0.0f)
                continue;
            const float* src = base - k;
            for (size_t f = 0; f < n; ++f)
                sum[f] += g * src[f];
        }
    }
    for (const Sparse& s : m_sparse) {
        float* sum = m_sums[static_cast<size_t>(s.output)].data();
        const float* base =
            m_signals[static_cast<size_t>(s.signal)].data() + m_history[static_cast<size_t>(s.signal)];
        for (const SparseTap& t : s.taps) {
            const float* src = base - t.delay;
            const float g = t.gain;
            for (size_t f = 0; f < n; ++f)
                sum[f] += g * src[f];
        }
    }

    for (int32_t o = 0; o < m_outputs; ++o) {
        const float* sum = m_sums[static_cast<size_t>(o)].data();
        for (size_t f = 0; f < n; ++f)
            output[f * static_cast<size_t>(m_outputs) + static_cast<size_t>(o)] = gain * sum[f];
    }

    // Keep the last frames of each signal as the history of the next chunk.
    for (size_t s = 0; s < m_signals.size(); ++s) {
        const size_t history = static_cast<size_t>(m_history[s]);
        if (history == 0)
            continue;
        float* data = m_signals[s].data();
        std::memmove(data, data + n, history * sizeof(float));
    }
}

} // namespace sr
