#include "audio/AudioMixer.h"

#include "audio/AlsaDeviceList.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tw {

namespace {

bool IsCaptureLine(snd_mixer_elem_t* e) {
    return snd_mixer_selem_is_active(e) &&
           (snd_mixer_selem_has_capture_switch(e) || snd_mixer_selem_has_capture_volume(e));
}

// 0 .. 0xFFFF over an element's range, rounded to the nearest step either way.
uint16_t ToWave(long value, long minimum, long maximum) {
    if (maximum <= minimum)
        return 0;
    const double f = static_cast<double>(std::clamp(value, minimum, maximum) - minimum) / (maximum - minimum);
    return static_cast<uint16_t>(std::lround(f * 0xFFFF));
}

long FromWave(uint16_t value, long minimum, long maximum) {
    return minimum + std::lround(static_cast<double>(value) * (maximum - minimum) / 0xFFFF);
}

} // namespace

CAudioMixer::CAudioMixer(int32_t device, bool input) {
    const int32_t index = device == -1 ? 0 : device;
    const CAlsaDeviceList devices = CAlsaDeviceList::Enumerate();
    const std::string pcm = input ? devices.InputPcm(index) : devices.OutputPcm(index);
    const std::string control = CAlsaDeviceList::ControlDeviceOf(pcm);
    if (control.empty())
        return;
    snd_mixer_t* mixer = nullptr;
    if (snd_mixer_open(&mixer, 0) < 0)
        return;
    if (snd_mixer_attach(mixer, control.c_str()) < 0 ||
        snd_mixer_selem_register(mixer, nullptr, nullptr) < 0 || snd_mixer_load(mixer) < 0) {
        snd_mixer_close(mixer);
        return;
    }
    m_mixer = mixer;
    m_control = control;
}

CAudioMixer::~CAudioMixer() {
    if (m_mixer != nullptr)
        snd_mixer_close(m_mixer);
}

std::vector<snd_mixer_elem_t*> CAudioMixer::CaptureElements() {
    std::vector<snd_mixer_elem_t*> lines;
    if (m_mixer == nullptr)
        return lines;
    for (snd_mixer_elem_t* e = snd_mixer_first_elem(m_mixer); e != nullptr; e = snd_mixer_elem_next(e))
        if (IsCaptureLine(e))
            lines.push_back(e);
    return lines;
}

snd_mixer_elem_t* CAudioMixer::CaptureElement(int32_t index) {
    const std::vector<snd_mixer_elem_t*> lines = CaptureElements();
    if (index < 0 || index >= static_cast<int32_t>(lines.size()))
        return nullptr;
    return lines[static_cast<size_t>(index)];
}

snd_mixer_elem_t* CAudioMixer::PlaybackElement() {
    if (m_mixer == nullptr)
        return nullptr;
    snd_mixer_elem_t* first = nullptr;
    snd_mixer_elem_t* pcm = nullptr;
    for (snd_mixer_elem_t* e = snd_mixer_first_elem(m_mixer); e != nullptr; e = snd_mixer_elem_next(e)) {
        if (!snd_mixer_selem_is_active(e) || !snd_mixer_selem_has_playback_volume(e))
            continue;
        const char* name = snd_mixer_selem_get_name(e);
        if (std::strcmp(name, "Master") == 0)
            return e;
        if (pcm == nullptr && std::strcmp(name, "PCM") == 0)
            pcm = e;
        if (first == nullptr)
            first = e;
    }
    return pcm != nullptr ? pcm : first;
}

void CAudioMixer::GetLines(std::vector<std::string>& list) {
    for (snd_mixer_elem_t* e : CaptureElements())
        list.emplace_back(snd_mixer_selem_get_name(e));
}

std::string CAudioMixer::GetControlText(int32_t index) {
    snd_mixer_elem_t* e = CaptureElement(index);
    return e != nullptr ? snd_mixer_selem_get_name(e) : std::string();
}

bool CAudioMixer::SelectLine(const std::string& name) {
    const std::vector<snd_mixer_elem_t*> lines = CaptureElements();
    if (lines.empty())
        return false;
    bool ok = true;
    // Off first, then on: with exclusive capture groups the device itself turns the others off,
    // and turning the chosen one on last leaves it on.
    snd_mixer_elem_t* chosen = nullptr;
    for (snd_mixer_elem_t* e : lines) {
        if (!snd_mixer_selem_has_capture_switch(e))
            continue;
        if (name == snd_mixer_selem_get_name(e) && chosen == nullptr)
            chosen = e;
        else if (snd_mixer_selem_set_capture_switch_all(e, 0) < 0)
            ok = false;
    }
    if (chosen != nullptr && snd_mixer_selem_set_capture_switch_all(chosen, 1) < 0)
        ok = false;
    return ok;
}

std::string CAudioMixer::GetSelectedLine() {
    for (snd_mixer_elem_t* e : CaptureElements()) {
        int on = 0;
        if (snd_mixer_selem_has_capture_switch(e) &&
            snd_mixer_selem_get_capture_switch(e, SND_MIXER_SCHN_FRONT_LEFT, &on) == 0 && on != 0)
            return snd_mixer_selem_get_name(e);
    }
    return {};
}

int32_t CAudioMixer::GetLineId(int32_t index) {
    snd_mixer_elem_t* line = CaptureElement(index);
    if (line == nullptr)
        return -1;
    int32_t position = 0;
    for (snd_mixer_elem_t* e = snd_mixer_first_elem(m_mixer); e != nullptr;
         e = snd_mixer_elem_next(e), ++position)
        if (e == line)
            return position;
    return -1;
}

bool CAudioMixer::SetLineVolume(int32_t index, double fraction) {
    snd_mixer_elem_t* e = CaptureElement(index);
    if (e == nullptr || !snd_mixer_selem_has_capture_volume(e))
        return false;
    long minimum = 0;
    long maximum = 0;
    if (snd_mixer_selem_get_capture_volume_range(e, &minimum, &maximum) < 0)
        return false;
    const double f = std::clamp(fraction, 0.0, 1.0);
    const long value =
        static_cast<long>(f * static_cast<double>(maximum - minimum) + static_cast<double>(minimum));
    return snd_mixer_selem_set_capture_volume_all(e, value) == 0;
}

bool CAudioMixer::GetMasterRange(int32_t& minimum, int32_t& maximum) {
    snd_mixer_elem_t* e = PlaybackElement();
    long lo = 0;
    long hi = 0;
    if (e == nullptr || snd_mixer_selem_get_playback_volume_range(e, &lo, &hi) < 0)
        return false;
    minimum = static_cast<int32_t>(lo);
    maximum = static_cast<int32_t>(hi);
    return true;
}

bool CAudioMixer::SetMasterVolume(int32_t value) {
    snd_mixer_elem_t* e = PlaybackElement();
    long minimum = 0;
    long maximum = 0;
    if (e == nullptr || snd_mixer_selem_get_playback_volume_range(e, &minimum, &maximum) < 0)
        return false;
    return snd_mixer_selem_set_playback_volume_all(e, std::clamp<long>(value, minimum, maximum)) == 0;
}

bool CAudioMixer::GetWaveVolume(int32_t mixerId, uint32_t& packed) {
    CAudioMixer mixer(mixerId, false);
    snd_mixer_elem_t* e = mixer.PlaybackElement();
    long minimum = 0;
    long maximum = 0;
    if (e == nullptr || snd_mixer_selem_get_playback_volume_range(e, &minimum, &maximum) < 0)
        return false;
    long left = 0;
    if (snd_mixer_selem_get_playback_volume(e, SND_MIXER_SCHN_FRONT_LEFT, &left) < 0)
        return false;
    long right = left;
    if (!snd_mixer_selem_is_playback_mono(e) &&
        snd_mixer_selem_has_playback_channel(e, SND_MIXER_SCHN_FRONT_RIGHT) &&
        snd_mixer_selem_get_playback_volume(e, SND_MIXER_SCHN_FRONT_RIGHT, &right) < 0)
        return false;
    packed = static_cast<uint32_t>(ToWave(left, minimum, maximum)) |
             static_cast<uint32_t>(ToWave(right, minimum, maximum)) << 16;
    return true;
}

bool CAudioMixer::SetWaveVolume(int32_t mixerId, uint32_t packed) {
    CAudioMixer mixer(mixerId, false);
    snd_mixer_elem_t* e = mixer.PlaybackElement();
    long minimum = 0;
    long maximum = 0;
    if (e == nullptr || snd_mixer_selem_get_playback_volume_range(e, &minimum, &maximum) < 0)
        return false;
    const long left = FromWave(static_cast<uint16_t>(packed & 0xFFFF), minimum, maximum);
    const long right = FromWave(static_cast<uint16_t>(packed >> 16), minimum, maximum);
    if (snd_mixer_selem_is_playback_mono(e) ||
        !snd_mixer_selem_has_playback_channel(e, SND_MIXER_SCHN_FRONT_RIGHT))
        return snd_mixer_selem_set_playback_volume_all(e, left) == 0;
    // Channels beyond the front pair (a surround master) follow the louder side.
    return snd_mixer_selem_set_playback_volume_all(e, std::max(left, right)) == 0 &&
           snd_mixer_selem_set_playback_volume(e, SND_MIXER_SCHN_FRONT_LEFT, left) == 0 &&
           snd_mixer_selem_set_playback_volume(e, SND_MIXER_SCHN_FRONT_RIGHT, right) == 0;
}

} // namespace tw
