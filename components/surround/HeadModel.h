// A spherical head, the ears at +-90 degrees: the responses by which a sound from a direction in the
// horizontal plane reaches each ear. Built from three classic parts:
// - the interaural time difference of a rigid sphere (Woodworth): the far ear hears the sound after
//   it has travelled round the head, a / c * (theta + sin theta) behind the near ear;
// - head shadow as the one-pole, one-zero filter of a sphere (high frequencies lifted up to 6 dB
//   for the ear facing the source, dulled for the ear behind the head);
// - a little pinna and shoulder: short echoes within 0.4 ms whose delays change with the direction
//   (the notches that tell front from back), and a dulled shoulder reflection about 1.2 ms late.
#pragma once

#include <cstdint>
#include <vector>

namespace sr {

struct EarResponses {
    std::vector<float> left;
    std::vector<float> right;
};

class CHeadModel {
public:
    explicit CHeadModel(int32_t rate);

    // The two ears' responses to a source at `azimuth` (radians, clockwise from ahead). Both have
    // ResponseFrames() taps, and together they carry the energy of a unit impulse, so every
    // direction sounds equally loud.
    EarResponses Responses(double azimuth) const;

    // For reflections, where a broadband copy will do: the delay of each ear behind the head's
    // centre in seconds (negative for the ear facing the source) and its broadband shadow gain.
    struct Arrival {
        double delay;
        double gain;
    };
    Arrival EarArrival(double azimuth, bool leftEar) const;

    int32_t ResponseFrames() const { return m_frames; }
    // The head's radius over the speed of sound, in seconds: the largest lead of the facing ear.
    static double RadiusTime();

private:
    int32_t m_rate;
    int32_t m_frames;
};

} // namespace sr
