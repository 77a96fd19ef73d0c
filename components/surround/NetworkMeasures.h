// Measures of a filter network that set the mappers' gains.
#pragma once

#include "FilterNetwork.h"

namespace sr {

// The most `output` can reach for inputs within full scale: the sum of the magnitudes of every tap
// into it, each scaled by the weights that feed its signal (a bus's low-pass only ever lowers it). Reached by
// full scale on every input with the signs of the taps; for a matrix of plain gains that is full scale in
// phase.
double PeakBound(const CFilterNetwork& network, int32_t output);
// The largest PeakBound of all outputs.
double LargestPeakBound(const CFilterNetwork& network);

// The output power, all outputs together, that programme material on input `input` brings, for
// unit power in. Programme is modelled as white noise dulled by a one-pole low-pass at 1 kHz (most
// music and speech has its energy below a few kilohertz); the buses' low-passes count exactly.
double ProgrammeEnergy(const CFilterNetwork& network, int32_t input, int32_t rate);

} // namespace sr
