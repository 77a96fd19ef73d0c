// The mixer of an ALSA device, over ALSA's simple mixer: it lists the recording lines (the
// simple elements that capture), selects one of them by name (its capture switch on, every other
// line's off), and sets a line's and the master volume. Beside it, the wave volume pair of the
// start-up and the meter bar: the playback volume of a device as one 32-bit value, left in the low
// 16 bits and right in the high 16 bits, 0 .. 0xFFFF over the element's own range.
//
// The device number is the ALSA back end's local index (GetMixerId); -1, which other back ends
// answer, means device 0. It is resolved through ALSA's device list to the PCM and from there to
// the control device that carries its mixer (`default` for the mapper entry, hw:CARD=x for the
// devices of card x). A device without a mixer (ALSA's `null`, an index beyond the list) leaves
// every operation empty: lists stay empty, texts are empty, and results are false.
//
// Threads: one object is used by one thread at a time; objects on different threads are
// independent. Values are read from the device at each call.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct _snd_mixer;
struct _snd_mixer_elem;

namespace tw {

class CAudioMixer {
public:
    CAudioMixer(int32_t device, bool input);
    ~CAudioMixer();
    CAudioMixer(const CAudioMixer&) = delete;
    CAudioMixer& operator=(const CAudioMixer&) = delete;

    bool IsOpen() const { return m_mixer != nullptr; }
    // The ALSA control device opened; empty without a mixer.
    const std::string& GetControlDevice() const { return m_control; }

    // Appends the name of each recording line, in the mixer's order.
    void GetLines(std::vector<std::string>& list);
    // The name of line `index`, or an empty string.
    std::string GetControlText(int32_t index);
    // Turns the capture of the line named `name` on and that of every other line off; an unknown
    // name turns them all off. False without a mixer or when the device refused a switch.
    bool SelectLine(const std::string& name);
    // The first line whose capture is on; empty when none is.
    std::string GetSelectedLine();
    // A number for line `index` that stays the same while the mixer's controls do: the position
    // of its element among all the mixer's elements. -1 when there is no such line.
    int32_t GetLineId(int32_t index);
    // Sets the capture volume of line `index` to minimum + fraction * (maximum - minimum), in the
    // element's own units (the fraction is limited to 0 .. 1). False when the line has no volume.
    bool SetLineVolume(int32_t index, double fraction);
    // Sets the playback volume of the master element to `value`, in its own units (limited to
    // its range). False when the mixer has no playback volume.
    bool SetMasterVolume(int32_t value);
    // The master element's range; false when there is none.
    bool GetMasterRange(int32_t& minimum, int32_t& maximum);

    // The playback volume of device `mixerId` (the master element, else PCM, else the first that
    // plays), left in the low 16 bits, right in the high 16 bits. A mono element gives the same
    // value in both halves. False (and `packed` untouched) without a mixer.
    static bool GetWaveVolume(int32_t mixerId, uint32_t& packed);
    // Sets it back; a mono element takes the left half. False without a mixer.
    static bool SetWaveVolume(int32_t mixerId, uint32_t packed);

private:
    // The recording lines, in the mixer's order.
    std::vector<_snd_mixer_elem*> CaptureElements();
    _snd_mixer_elem* CaptureElement(int32_t index);
    // The element whose volume is the device's output volume; null when none plays.
    _snd_mixer_elem* PlaybackElement();

    _snd_mixer* m_mixer = nullptr;
    std::string m_control;
};

} // namespace tw
