// The streaming engine both mappers run on: every output channel is a sum of filtered signals,
// where a signal is an input channel or a bus (a weighted sum of inputs through an optional one-pole
// low-pass). Filters are direct-form FIRs, dense (a short head response, a gain of a matrix) or
// sparse (reflections, a velvet-noise tail, a plain delay). History is kept per signal, so blocks of
// any size join exactly: each output sample is computed by the same sums in the same order as if
// the whole stream had come in one block.
//
// Not thread-safe; the owning mapper serialises calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sr {

struct SparseTap {
    int32_t delay; // frames
    float gain;
};

class CFilterNetwork {
public:
    // Starts a network of `inputs` input channels (signals 0..inputs-1) and `outputs` outputs.
    void Reset(int32_t inputs, int32_t outputs);

    // Adds a bus and returns its signal index. `weights` has one entry per input; `lowPass` is the
    // one-pole coefficient in (0, 1] (1 leaves the sum unfiltered).
    int32_t AddBus(const std::vector<float>& weights, float lowPass);
    void AddDense(int32_t output, int32_t signal, std::vector<float> taps);
    void AddSparse(int32_t output, int32_t signal, std::vector<SparseTap> taps);

    // Sizes the history after the routes are added; then Process may run. Clears all state.
    void Prepare();
    // Forgets the history and the low-pass states.
    void Clear();

    int32_t Inputs() const { return m_inputs; }
    int32_t Outputs() const { return m_outputs; }
    // Frames an impulse keeps ringing after it entered: the longest route less one.
    int32_t TailFrames() const { return m_tailFrames; }
    // The first frame at which any route answers an impulse.
    int32_t FirstResponseFrame() const;

    // Maps `frames` interleaved input frames to interleaved output frames, scaled by `gain`.
    // `input` may be null for silence (used to ring out the tail).
    void Process(const float* input, float* output, int32_t frames, float gain);

    // For the bounds of the mappers: the routes as they stand.
    struct Dense {
        int32_t output;
        int32_t signal;
        std::vector<float> taps;
    };
    struct Sparse {
        int32_t output;
        int32_t signal;
        std::vector<SparseTap> taps;
    };
    struct Bus {
        std::vector<float> weights;
        float lowPass;
    };
    const std::vector<Dense>& DenseRoutes() const { return m_dense; }
    const std::vector<Sparse>& SparseRoutes() const { return m_sparse; }
    // Sum of |weight| that feeds `signal` (1 for an input channel).
    float SignalWeight(int32_t signal) const;
    // The weight by which `input` feeds `signal` (1 or 0 for an input channel).
    float InputWeight(int32_t signal, int32_t input) const;
    int32_t Buses() const { return static_cast<int32_t>(m_buses.size()); }
    // The one-pole coefficient of the bus that is `signal`.
    float BusLowPass(int32_t signal) const {
        return m_buses[static_cast<size_t>(signal - m_inputs)].bus.lowPass;
    }

    // The frames processed at most in one inner pass; larger blocks are cut into these.
    static constexpr int32_t kChunkFrames = 4096;

private:
    struct BusState {
        Bus bus;
        float state = 0.0f;
    };

    void ProcessChunk(const float* input, float* output, int32_t frames, float gain);

    int32_t m_inputs = 0;
    int32_t m_outputs = 0;
    std::vector<BusState> m_buses;
    std::vector<Dense> m_dense;
    std::vector<Sparse> m_sparse;
    std::vector<int32_t> m_history; // frames of history per signal
    int32_t m_tailFrames = 0;
    // Per signal: history followed by the chunk being processed.
    std::vector<std::vector<float>> m_signals;
    std::vector<std::vector<float>> m_sums; // per output
};

} // namespace sr
