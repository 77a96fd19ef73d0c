// The test tone dialog's values as the settings store keeps them (section "SignalGenerator"), and
// the arithmetic that turns them into a generator: the signal code, the frame count of a duration
// and the amplitude of a level in decibels. The dialog reads them when it opens and writes them at
// OK; texts are written with two decimals, independent of the locale. Any thread.
#pragma once

#include <tidework/wavefmt.h>

#include <cstdint>

namespace tw {

class CSignalGenerator;

struct SignalGeneratorSettings {
    enum Type : int32_t { tones = 0, noise = 1 };

    float amplitude = 1.0f;      // linear
    int32_t noiseColor = 0;      // 0 white, 1 pink, 2 brown
    int32_t type = tones;        // radio: tones or noise
    int32_t waveform = 0;        // 0 sine, 1 saw-tooth, 2 square
    float startFrequency = 1000; // hertz
    float endFrequency = 1000;   // hertz
    double duration = 10.0;      // seconds

    // Stored values, defaults for what is missing or not a number.
    static SignalGeneratorSettings Load();
    void Save() const;

    // The waveform index for tones, 3 plus the colour for noise; indexes out of range are taken as
    // the nearest one.
    int32_t SignalCode() const;
    // duration * rate rounded toward zero, 0 for a negative or invalid duration, at most 2^32 - 1.
    uint32_t FrameCount(uint32_t rate) const;
    // A new generator in `format` (not pooled; the caller owns it).
    CSignalGenerator* Create(const WAVEFORMATEX& format) const;
};

// The dialog's level slider: pow(10, decibels / 20).
float AmplitudeFromDecibels(double decibels);

} // namespace tw
