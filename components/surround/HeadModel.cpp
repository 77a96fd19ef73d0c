#include "HeadModel.h"

#include <algorithm>
#include <cmath>

namespace sr {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kHeadRadius = 0.0875; // metres, an average adult head
constexpr double kSpeedOfSound = 343.0;
// The sphere's shadow: its high-frequency gain runs from 2 facing the source down to 0.1 at 150
// degrees from it (and rises a little again behind, where waves round the head meet).
constexpr double kAlphaMin = 0.1;
constexpr double kThetaMin = 150.0 * kPi / 180.0;
// Pinna echoes as (gain, delay scale, delay offset, angle factor), delays in frames at 44.1 kHz.
// The classic model's gains are softened to a quarter: enough for the direction-dependent notches,
// without the hollow sound of the full-depth ones.
struct PinnaEcho {
    double gain;
    double scale;
    double offset;
    double factor;
};
constexpr PinnaEcho kPinna[] = {
    {0.125, 1.0, 2.0, 1.0},    {-0.25, 5.0, 4.0, 0.5},   {0.125, 5.0, 7.0, 0.5},
    {-0.0625, 5.0, 11.0, 0.5}, {0.0625, 5.0, 13.0, 0.5},
};
constexpr double kPinnaRate = 44100.0;
constexpr double kShoulderDelay = 0.0012; // seconds, a source at ear height
constexpr double kShoulderGain = 0.2;
constexpr double kResponseSeconds = 0.005;

// Angle between the source and the ear's axis, 0..pi.
double Incidence(double azimuth, bool leftEar) {
    const double ear = leftEar ? -kPi / 2 : kPi / 2;
    return std::fabs(std::remainder(azimuth - ear, 2 * kPi));
}

double ShadowAlpha(double incidence) {
    return (1.0 + kAlphaMin / 2) + (1.0 - kAlphaMin / 2) * std::cos(incidence / kThetaMin * kPi);
}

// Woodworth's path difference: the facing ear hears the wave before it reaches the head's centre,
// the far ear after the wave has bent round the sphere.
double WoodworthDelay(double incidence) {
    const double r = CHeadModel::RadiusTime();
    return incidence < kPi / 2 ? -r * std::cos(incidence) : r * (incidence - kPi / 2);
}

// Adds an impulse of `gain` at a fractional frame by linear interpolation; whatever falls past the
// end is lost, which the response length makes negligible.
void AddImpulse(std::vector<double>& e, double at, double gain) {
    if (at < 0)
        at = 0;
    const auto i = static_cast<size_t>(at);
    const double frac = at - static_cast<double>(i);
    if (i < e.size())
        e[i] += gain * (1.0 - frac);
    if (i + 1 < e.size())
        e[i + 1] += gain * frac;
}

} // namespace

double CHeadModel::RadiusTime() {
    return kHeadRadius / kSpeedOfSound;
}

CHeadModel::CHeadModel(int32_t rate)
    : m_rate(rate), m_frames(std::max(4, static_cast<int32_t>(std::ceil(kResponseSeconds * rate)))) {}

EarResponses CHeadModel::Responses(double azimuth) const {
    // The pinna's delays follow the lateral angle and whether the source is in front or behind.
    const double lateral = std::asin(std::clamp(std::sin(azimuth), -1.0, 1.0));
    const bool behind = std::cos(azimuth) < 0;
    const double polar = behind ? kPi : 0.0;

    std::vector<double> ears[2];
    for (int ear = 0; ear < 2; ++ear) {
        const bool left = ear == 0;
        const double incidence = Incidence(azimuth, left);
        // Onsets count from the earliest any ear can hear a source, so none is negative.
        const double onset = (WoodworthDelay(incidence) + RadiusTime()) * m_rate;
        std::vector<double> e(static_cast<size_t>(m_frames), 0.0);
        AddImpulse(e, onset, 1.0);
        for (const PinnaEcho& p : kPinna) {
            const double frames44 =
                p.scale * std::cos(lateral / 2) * std::sin(p.factor * (kPi / 2 - polar)) + p.offset;
            AddImpulse(e, onset + std::max(0.0, frames44) / kPinnaRate * m_rate, p.gain);
        }
        // The shoulder reflects a duller copy: spread it over a few frames.
        const double shoulder = onset + kShoulderDelay * m_rate;
        AddImpulse(e, shoulder - 1, kShoulderGain * 0.25);
        AddImpulse(e, shoulder, kShoulderGain * 0.5);
        AddImpulse(e, shoulder + 1, kShoulderGain * 0.25);

        // Head shadow: H(s) = (2 w0 + alpha s) / (2 w0 + s), w0 = c / a, by the bilinear transform.
        const double alpha = ShadowAlpha(incidence);
        const double k = 2.0 * m_rate;
        const double beta = 2.0 * kSpeedOfSound / kHeadRadius;
        const double b0 = (beta + alpha * k) / (beta + k);
        const double b1 = (beta - alpha * k) / (beta + k);
        const double a1 = (beta - k) / (beta + k);
        std::vector<double>& h = ears[ear];
        h.assign(e.size(), 0.0);
        double x1 = 0, y1 = 0;
        for (size_t n = 0; n < e.size(); ++n) {
            const double y = b0 * e[n] + b1 * x1 - a1 * y1;
            x1 = e[n];
            y1 = y;
            h[n] = y;
        }
    }

    double energy = 0;
    for (const auto& h : ears)
        for (double v : h)
            energy += v * v;
    const double scale = energy > 0 ? 1.0 / std::sqrt(energy) : 0.0;
    EarResponses out;
    out.left.resize(ears[0].size());
    out.right.resize(ears[1].size());
    for (size_t n = 0; n < ears[0].size(); ++n) {
        out.left[n] = static_cast<float>(ears[0][n] * scale);
        out.right[n] = static_cast<float>(ears[1][n] * scale);
    }
    return out;
}

CHeadModel::Arrival CHeadModel::EarArrival(double azimuth, bool leftEar) const {
    const double incidence = Incidence(azimuth, leftEar);
    // The shadow filter's mean of its low and high gains, relative to the ear facing the source.
    const double alpha = ShadowAlpha(incidence);
    return Arrival{WoodworthDelay(incidence), (1.0 + alpha) / (1.0 + ShadowAlpha(0.0))};
}

} // namespace sr
