// The PCM devices ALSA offers (its device name hints), split into those that play and those that
// record, in ALSA's order, and the naming rules that go with them: the name shown to the user, the
// ALSA name behind a local device index, and the control device (mixer) of a PCM.
//
// ALSA's `default` device is not among the listed devices: it is the mapper entry, which the
// back end puts last, one past the listed devices. The discard device `null` is listed after every
// other device, so that index 0 (which the mixer takes for another back end's devices) names a
// device that plays.
//
// A snapshot: the hints are read once, by Enumerate. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CAlsaDeviceList {
public:
    struct Device {
        std::string name;        // the ALSA PCM name, as given to snd_pcm_open
        std::string description; // first line of ALSA's description; empty when it has none
    };

    static constexpr const char* kDefaultPcm = "default";
    static constexpr const char* kNullPcm = "null";
    static constexpr const char* kPrefix = "ALSA: ";
    static constexpr const char* kMapperName = "ALSA: (default device)";

    // Reads ALSA's PCM hints now. No ALSA configuration means empty lists.
    static CAlsaDeviceList Enumerate();

    const std::vector<Device>& GetOutputs() const { return m_outputs; }
    const std::vector<Device>& GetInputs() const { return m_inputs; }

    // The ALSA name behind local index `index`: a listed device, `default` for the index one past
    // them (the mapper), or an empty string outside.
    std::string OutputPcm(int32_t index) const { return PcmAt(m_outputs, index); }
    std::string InputPcm(int32_t index) const { return PcmAt(m_inputs, index); }

    // "ALSA: " and the description, or the name when there is no description.
    static std::string DisplayName(const Device& device);
    // The control device whose simple mixer belongs to a PCM: `default` for `default`, hw:CARD=x
    // for any device of card x (CARD=x in its arguments, or hw:N / plughw:N style), nothing for
    // `null`, a plug-in's own control device where it has one (`pulse`), else `default`.
    static std::string ControlDeviceOf(const std::string& pcm);
    // Whether ALSA's configuration defines a control device of that name (hw:... always is).
    static bool ControlDeviceExists(const std::string& ctl);

private:
    static std::string PcmAt(const std::vector<Device>& list, int32_t index);

    std::vector<Device> m_outputs;
    std::vector<Device> m_inputs;
};

} // namespace tw
