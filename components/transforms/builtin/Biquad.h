// A second-order section with the peaking-equaliser coefficients of the well-known audio cookbook
// formulas, run in transposed direct form II in double precision, which keeps low bands at high
// rates free of the noise a float state would add.
#pragma once

#include <cmath>

namespace bt {

struct BiquadCoefficients {
    double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0; // normalised so that a0 is 1

    static BiquadCoefficients Peaking(double rate, double frequency, double gainDb, double q) {
        const double a = std::pow(10.0, gainDb / 40.0);
        const double w0 = 2.0 * M_PI * frequency / rate;
        const double alpha = std::sin(w0) / (2.0 * q);
        const double cosw = std::cos(w0);
        const double a0 = 1.0 + alpha / a;
        BiquadCoefficients k;
        k.b0 = (1.0 + alpha * a) / a0;
        k.b1 = -2.0 * cosw / a0;
        k.b2 = (1.0 - alpha * a) / a0;
        k.a1 = -2.0 * cosw / a0;
        k.a2 = (1.0 - alpha / a) / a0;
        return k;
    }
};

struct BiquadState {
    double z1 = 0, z2 = 0;

    double Step(const BiquadCoefficients& k, double x) {
        const double y = k.b0 * x + z1;
        z1 = k.b1 * x - k.a1 * y + z2;
        z2 = k.b2 * x - k.a2 * y;
        return y;
    }
};

} // namespace bt
