#include "NetworkMeasures.h"

#include <algorithm>
#include <cmath>

namespace sr {

double PeakBound(const CFilterNetwork& network, int32_t output) {
    double sum = 0;
    for (const auto& d : network.DenseRoutes())
        if (d.output == output)
            for (float tap : d.taps)
                sum += std::fabs(tap) * network.SignalWeight(d.signal);
    for (const auto& s : network.SparseRoutes())
        if (s.output == output)
            for (const SparseTap& tap : s.taps)
                sum += std::fabs(tap.gain) * network.SignalWeight(s.signal);
    return sum;
}

double LargestPeakBound(const CFilterNetwork& network) {
    double bound = 0;
    for (int32_t o = 0; o < network.Outputs(); ++o)
        bound = std::max(bound, PeakBound(network, o));
    return bound;
}

double ProgrammeEnergy(const CFilterNetwork& network, int32_t input, int32_t rate) {
    // Impulse responses of one-pole low-passes, cut where they have decayed to nothing.
    auto onePole = [](const std::vector<double>& x, double a) {
        std::vector<double> y;
        double state = 0, peak = 0;
        for (size_t n = 0; n < x.size() || std::fabs(state) > 1e-7 * peak; ++n) {
            state += a * ((n < x.size() ? x[n] : 0.0) - state);
            peak = std::max(peak, std::fabs(state));
            y.push_back(state);
        }
        return y;
    };
    const double cutoff = std::min(1000.0, 0.45 * rate);
    std::vector<double> programme =
        onePole({1.0}, 1.0 - std::exp(-2.0 * 3.14159265358979323846 * cutoff / rate));
    double inputPower = 0;
    for (double v : programme)
        inputPower += v * v;
    // What reaches each signal from the input: the programme itself, or through a bus's low-pass.
    std::vector<std::vector<double>> reaching(static_cast<size_t>(network.Inputs() + network.Buses()));
    for (int32_t s = 0; s < static_cast<int32_t>(reaching.size()); ++s) {
        if (network.InputWeight(s, input) == 0.0f)
            continue;
        reaching[static_cast<size_t>(s)] =
            s < network.Inputs() ? programme : onePole(programme, network.BusLowPass(s));
    }

    double energy = 0;
    for (int32_t o = 0; o < network.Outputs(); ++o) {
        std::vector<double> y;
        auto add = [&](int32_t signal, int32_t delay, double gain) {
            const std::vector<double>& r = reaching[static_cast<size_t>(signal)];
            if (r.empty() || gain == 0.0)
                return;
            const double w = gain * network.InputWeight(signal, input);
            if (y.size() < static_cast<size_t>(delay) + r.size())
                y.resize(static_cast<size_t>(delay) + r.size(), 0.0);
            for (size_t j = 0; j < r.size(); ++j)
                y[static_cast<size_t>(delay) + j] += w * r[j];
        };
        for (const auto& d : network.DenseRoutes())
            if (d.output == o)
                for (size_t k = 0; k < d.taps.size(); ++k)
                    add(d.signal, static_cast<int32_t>(k), d.taps[k]);
        for (const auto& sp : network.SparseRoutes())
            if (sp.output == o)
                for (const SparseTap& t : sp.taps)
                    add(sp.signal, t.delay, t.gain);
        for (double v : y)
            energy += v * v;
    }
    return inputPower > 0 ? energy / inputPower : 0.0;
}

} // namespace sr
