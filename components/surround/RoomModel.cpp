#include "RoomModel.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace sr {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kSpeedOfSound = 343.0;
constexpr double kRoom[3] = {6.0, 5.0, 2.8}; // width (x, to the right), depth (y, ahead), height
// The listener sits centred across the room, so left and right reflections mirror each other and
// a centre speaker stays centred; a little ahead of the middle, so front and back walls differ.
constexpr double kListener[3] = {3.0, 2.2, 1.2};
constexpr double kSpeakerDistance = 2.0;
constexpr double kReflectivity = 0.7; // amplitude kept at each bounce
constexpr int kMaxOrder = 2;

constexpr double kTailStart = 0.008;    // seconds after the direct sound
constexpr double kTailRise = 0.012;     // the tail fades in over this
constexpr double kTailLength = 0.150;   // cut here ...
constexpr double kTailFade = 0.030;     // ... after a raised-cosine fade of this length
constexpr double kTailRt60 = 0.25;      // decay time to -60 dB
constexpr double kTailDensity = 2000.0; // pulses a second
constexpr double kTailEnergy = 0.2;     // per ear, against a direct sound of energy 1 over both ears
constexpr uint64_t kTailSeed[2] = {0x5EED0001ull, 0x5EED0002ull};

// splitmix64: a small generator whose output is fixed by its seed on every platform.
class CNoise {
public:
    explicit CNoise(uint64_t seed) : m_state(seed) {}
    double Uniform() { // [0, 1)
        uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        z ^= z >> 31;
        return static_cast<double>(z >> 11) * (1.0 / 9007199254740992.0);
    }

private:
    uint64_t m_state;
};

std::vector<SparseTap> ToTaps(const std::map<int32_t, double>& gains) {
    std::vector<SparseTap> taps;
    taps.reserve(gains.size());
    for (const auto& [delay, gain] : gains)
        if (gain != 0.0)
            taps.push_back(SparseTap{delay, static_cast<float>(gain)});
    return taps;
}

double OnePole(double cutoff, int32_t rate) {
    return 1.0 - std::exp(-2.0 * kPi * std::min(cutoff, rate * 0.45) / rate);
}

} // namespace

CRoomModel::CRoomModel(int32_t rate, const CHeadModel& head) : m_rate(rate), m_head(head) {}

float CRoomModel::ReflectionLowPass() const {
    return static_cast<float>(OnePole(6000.0, m_rate));
}

float CRoomModel::TailLowPass() const {
    return static_cast<float>(OnePole(4000.0, m_rate));
}

CRoomModel::EarTaps CRoomModel::Reflections(double azimuth) const {
    const double source[3] = {kListener[0] + kSpeakerDistance * std::sin(azimuth),
                              kListener[1] + kSpeakerDistance * std::cos(azimuth), kListener[2]};
    std::map<int32_t, double> ears[2];
    // Image positions along one axis: 2 m L + s (even number of bounces) or 2 m L - s (odd).
    struct Image {
        double position;
        int order;
    };
    std::vector<Image> axes[3];
    for (int a = 0; a < 3; ++a)
        for (int m = -1; m <= 1; ++m)
            for (int q = 0; q <= 1; ++q) {
                const int order = std::abs(2 * m - q);
                if (order <= kMaxOrder)
                    axes[a].push_back(Image{2.0 * m * kRoom[a] + (q == 0 ? source[a] : -source[a]), order});
            }
    // Ear arrivals count from the head's centre hearing the direct sound, less the lead the facing
    // ear can have, as the head's responses do.
    const double lead = CHeadModel::RadiusTime();
    for (const Image& x : axes[0])
        for (const Image& y : axes[1])
            for (const Image& z : axes[2]) {
                const int order = x.order + y.order + z.order;
                if (order == 0 || order > kMaxOrder)
                    continue;
                const double dx = x.position - kListener[0], dy = y.position - kListener[1],
                             dz = z.position - kListener[2];
                const double distance = std::sqrt(dx * dx + dy * dy + dz * dz);
                const double from = std::atan2(dx, dy);
                const double extra = (distance - kSpeakerDistance) / kSpeedOfSound;
                // Spherical spreading against the direct path, one loss per bounce, and the share of
                // the head responses' unit energy one ear has.
                const double gain =
                    std::pow(kReflectivity, order) * kSpeakerDistance / distance * std::sqrt(0.5);
                for (int ear = 0; ear < 2; ++ear) {
                    const CHeadModel::Arrival arrival = m_head.EarArrival(from, ear == 0);
                    const double at = (extra + lead + arrival.delay) * m_rate;
                    ears[ear][static_cast<int32_t>(std::lround(std::max(0.0, at)))] += gain * arrival.gain;
                }
            }
    return EarTaps{ToTaps(ears[0]), ToTaps(ears[1])};
}

CRoomModel::EarTaps CRoomModel::Tail() const {
    const double cell = std::max(1.0, m_rate / kTailDensity);
    const double decay = std::log(1000.0) / kTailRt60; // amplitude: -60 dB at the decay time
    const double lead = CHeadModel::RadiusTime();
    std::vector<SparseTap> ears[2];
    for (int ear = 0; ear < 2; ++ear) {
        CNoise noise(kTailSeed[ear]);
        std::map<int32_t, double> gains;
        const double first = (kTailStart + lead) * m_rate;
        const double last = (kTailLength + lead) * m_rate;
        for (double at = first; at < last; at += cell) {
            const double place = noise.Uniform();
            const double sign = noise.Uniform() < 0.5 ? -1.0 : 1.0;
            const auto frame = static_cast<int32_t>(at + place * (cell - 1.0));
            const double t = frame / static_cast<double>(m_rate) - lead;
            double envelope = std::exp(-decay * t);
            if (t < kTailStart + kTailRise)
                envelope *= (t - kTailStart) / kTailRise;
            if (t > kTailLength - kTailFade)
                envelope *= 0.5 + 0.5 * std::cos(kPi * (t - (kTailLength - kTailFade)) / kTailFade);
            gains[frame] += sign * std::max(0.0, envelope);
        }
        double energy = 0;
        for (const auto& [frame, g] : gains)
            energy += g * g;
        const double scale = energy > 0 ? std::sqrt(kTailEnergy / energy) : 0.0;
        for (auto& [frame, g] : gains)
            g *= scale;
        ears[ear] = ToTaps(gains);
    }
    return EarTaps{ears[0], ears[1]};
}

} // namespace sr
