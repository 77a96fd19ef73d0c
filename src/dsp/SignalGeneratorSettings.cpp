#include "dsp/SignalGeneratorSettings.h"

#include "dsp/SignalGenerator.h"
#include "platform/Settings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

namespace tw {

namespace {

const char* const kSection = "SignalGenerator";

double ReadNumber(const char* key, const char* fallback) {
    const std::string text = GetSettingString(kSection, key, fallback);
    double value = 0;
    const char* begin = text.data();
    while (begin != text.data() + text.size() && *begin == ' ')
        ++begin;
    const auto result = std::from_chars(begin, text.data() + text.size(), value);
    if (result.ec != std::errc() || !std::isfinite(value))
        std::from_chars(fallback, fallback + std::char_traits<char>::length(fallback), value);
    return value;
}

// "%.2f" without the locale's decimal separator.
void WriteNumber(const char* key, double value) {
    char text[64];
    const auto result = std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, 2);
    PutSettingString(kSection, key, std::string(text, result.ec == std::errc() ? result.ptr : text));
}

} // namespace

SignalGeneratorSettings SignalGeneratorSettings::Load() {
    SignalGeneratorSettings s;
    s.amplitude = static_cast<float>(ReadNumber("Amplitude", "1.0"));
    s.noiseColor = GetSettingInt(kSection, "NoiseColor", 0);
    s.type = GetSettingInt(kSection, "Type", tones);
    s.waveform = GetSettingInt(kSection, "Waveform", 0);
    s.startFrequency = static_cast<float>(ReadNumber("StartFreq", "1000.0"));
    s.endFrequency = static_cast<float>(ReadNumber("EndFreq", "1000.0"));
    s.duration = ReadNumber("Duration", "10.0");
    return s;
}

void SignalGeneratorSettings::Save() const {
    WriteNumber("Amplitude", amplitude);
    PutSettingInt(kSection, "NoiseColor", noiseColor);
    PutSettingInt(kSection, "Type", type);
    PutSettingInt(kSection, "Waveform", waveform);
    WriteNumber("StartFreq", startFrequency);
    WriteNumber("EndFreq", endFrequency);
    WriteNumber("Duration", duration);
}

int32_t SignalGeneratorSettings::SignalCode() const {
    if (type == noise)
        return CSignalGenerator::whiteNoise + std::clamp(noiseColor, 0, 2);
    return CSignalGenerator::sine + std::clamp(waveform, 0, 2);
}

uint32_t SignalGeneratorSettings::FrameCount(uint32_t rate) const {
    const double frames = duration * rate;
    if (!(frames > 0))
        return 0;
    if (frames >= 4294967295.0)
        return 4294967295u;
    return static_cast<uint32_t>(frames);
}

CSignalGenerator* SignalGeneratorSettings::Create(const WAVEFORMATEX& format) const {
    return new CSignalGenerator(&format, FrameCount(format.nSamplesPerSec), SignalCode(), startFrequency,
                                endFrequency, amplitude);
}

float AmplitudeFromDecibels(double decibels) {
    return static_cast<float>(std::pow(10.0, decibels / 20.0));
}

} // namespace tw
