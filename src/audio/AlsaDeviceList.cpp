#include "audio/AlsaDeviceList.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace tw {

namespace {

// A hint's field as a string; ALSA hands out malloc'ed copies.
std::string HintField(const void* hint, const char* id) {
    char* value = snd_device_name_get_hint(hint, id);
    if (value == nullptr)
        return {};
    std::string s(value);
    std::free(value);
    return s;
}

// ALSA prints its configuration's complaints (no card 0 on a machine that has only a sound server,
// say) to the host's standard error. Each failure already reaches the caller as a result code, and
// the host's output is the host's own.
void QuietAlsaErrors(const char*, int, const char*, int, const char*, ...) {}

} // namespace

CAlsaDeviceList CAlsaDeviceList::Enumerate() {
    static std::once_flag quiet;
    std::call_once(quiet, [] { snd_lib_error_set_handler(QuietAlsaErrors); });
    CAlsaDeviceList list;
    void** hints = nullptr;
    if (snd_device_name_hint(-1, "pcm", &hints) < 0 || hints == nullptr)
        return list;
    std::vector<Device> nullOutputs;
    std::vector<Device> nullInputs;
    for (void** h = hints; *h != nullptr; ++h) {
        Device d;
        d.name = HintField(*h, "NAME");
        if (d.name.empty() || d.name == kDefaultPcm)
            continue;
        const std::string desc = HintField(*h, "DESC");
        d.description = desc.substr(0, desc.find('\n'));
        // No IOID means the device does both.
        const std::string io = HintField(*h, "IOID");
        const bool isNull = d.name == kNullPcm;
        if (io.empty() || io == "Output")
            (isNull ? nullOutputs : list.m_outputs).push_back(d);
        if (io.empty() || io == "Input")
            (isNull ? nullInputs : list.m_inputs).push_back(d);
    }
    snd_device_name_free_hint(hints);
    list.m_outputs.insert(list.m_outputs.end(), nullOutputs.begin(), nullOutputs.end());
    list.m_inputs.insert(list.m_inputs.end(), nullInputs.begin(), nullInputs.end());
    return list;
}

std::string CAlsaDeviceList::PcmAt(const std::vector<Device>& list, int32_t index) {
    const int32_t count = static_cast<int32_t>(list.size());
    if (index >= 0 && index < count)
        return list[static_cast<size_t>(index)].name;
    return index == count ? kDefaultPcm : std::string();
}

std::string CAlsaDeviceList::DisplayName(const Device& device) {
    return kPrefix + (device.description.empty() ? device.name : device.description);
}

std::string CAlsaDeviceList::ControlDeviceOf(const std::string& pcm) {
    if (pcm.empty() || pcm == kNullPcm)
        return {};
    if (pcm == kDefaultPcm)
        return kDefaultPcm;
    // Card devices name their card as an argument (front:CARD=PCH,DEV=0, sysdefault:CARD=PCH).
    const size_t card = pcm.find("CARD=");
    if (card != std::string::npos) {
        const size_t start = card + 5;
        const size_t end = pcm.find_first_of(",}'\"", start);
        return "hw:CARD=" + pcm.substr(start, end == std::string::npos ? std::string::npos : end - start);
    }
    // The short forms hw:0,1 and plughw:0,1.
    for (const char* prefix : {"hw:", "plughw:"}) {
        const std::string p(prefix);
        if (pcm.compare(0, p.size(), p) == 0) {
            const std::string rest = pcm.substr(p.size());
            return "hw:" + rest.substr(0, rest.find(','));
        }
    }
    // A plug-in with a control device of its own (pulse, say) is controlled there; the others
    // (rate converters, up-mixers) play through ALSA's default device, whose volume is theirs.
    const std::string own = pcm.substr(0, pcm.find(':'));
    return ControlDeviceExists(own) ? own : kDefaultPcm;
}

bool CAlsaDeviceList::ControlDeviceExists(const std::string& ctl) {
    // Looked up in ALSA's configuration rather than opened, so that asking costs no connection to
    // a sound server and leaves no complaint on the console.
    if (ctl.empty() || snd_config_update() < 0)
        return false;
    snd_config_t* definition = nullptr;
    if (snd_config_search_definition(snd_config, "ctl", ctl.c_str(), &definition) < 0)
        return false;
    snd_config_delete(definition);
    return true;
}

} // namespace tw
