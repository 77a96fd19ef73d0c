// The device manager of the ALSA back end (the system's first back end, the head of the chain):
// one device for each PCM that ALSA's hints list, outputs for those that play and inputs for those
// that record, shown as "ALSA: " and the device's description, and after them ALSA's `default`
// device as the mapper entry, "ALSA: (default device)", always last. So each count is the number
// of listed devices plus one. The list is read once, when the manager is made.
//
// Local indices go to the devices unchanged; the mixer id of an output is its local index, which
// CAudioMixer resolves through the same list.
//
// Threads: as CAudioDeviceMgr.
#pragma once

#include "audio/AlsaDeviceList.h"
#include "audio/AudioDeviceMgr.h"

namespace tw {

class CMMEDeviceMgr : public CAudioDeviceMgr {
public:
    CMMEDeviceMgr(); // reads ALSA's device hints

    const CAlsaDeviceList& GetDevices() const { return m_devices; }

protected:
    void AppendInputNames(std::vector<std::string>& names) override;
    void AppendOutputNames(std::vector<std::string>& names) override;
    CAudioIn* CreateLocalInput(int32_t index) override;
    CAudioOut* CreateLocalOutput(int32_t index) override;
    int32_t GetLocalMixerId(int32_t index) override { return index; }

private:
    CAlsaDeviceList m_devices;
};

} // namespace tw
