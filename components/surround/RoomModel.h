// A small furnished room around the listener, for the room virtualiser: the speakers stand 2 m from
// the listener in a 6 x 5 x 2.8 m room. Its sound is made of
// - early reflections: the image sources of the walls, floor and ceiling up to the second order,
//   each reaching the two ears with the head's time difference and a broadband shadow gain;
// - a diffuse tail: velvet noise (sparse pulses of random sign on a random grid, 2000 a second)
//   under an exponential decay of 0.25 s to -60 dB, cut at 150 ms with a fade, different noise for
//   each ear so the tail surrounds the listener. The noise comes from a fixed seed, so the room
//   sounds the same at every run.
// Everything is sparse taps, so the tail costs a few hundred multiply-adds per frame and ear.
#pragma once

#include "FilterNetwork.h"
#include "HeadModel.h"

namespace sr {

class CRoomModel {
public:
    CRoomModel(int32_t rate, const CHeadModel& head);

    struct EarTaps {
        std::vector<SparseTap> left;
        std::vector<SparseTap> right;
    };
    // The reflections of a speaker at `azimuth` (radians clockwise from ahead), on the time scale of
    // the head's responses (frame 0 is the earliest arrival of the direct sound).
    EarTaps Reflections(double azimuth) const;
    // The diffuse tail for a sum of all speakers.
    EarTaps Tail() const;

    // One-pole coefficients: walls swallow the highs of the reflections, and more of the tail's.
    float ReflectionLowPass() const;
    float TailLowPass() const;

private:
    int32_t m_rate;
    const CHeadModel& m_head;
};

} // namespace sr
