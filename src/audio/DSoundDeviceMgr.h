// The device manager of the PulseAudio back end: one output device per sink of the server, listed
// as "PulseAudio: " and the sink's description, in the server's order, once, when the manager is
// made. No server (or one that does not answer within a couple of seconds) means no devices; this
// back end has no inputs. Its devices report mixer -1, which the mixer takes as its first device.
//
// Threads: as CAudioDeviceMgr.
#pragma once

#include "audio/AudioDeviceMgr.h"

#include <string>
#include <vector>

namespace tw {

class CDSoundDeviceMgr : public CAudioDeviceMgr {
public:
    struct Entry {
        std::string description; // shown after "PulseAudio: "
        std::string sink;        // the server's name, which the device plays to
    };

    CDSoundDeviceMgr(); // lists the server's sinks

    const std::vector<Entry>& GetEntries() const { return m_entries; }

protected:
    void AppendInputNames(std::vector<std::string>&) override {}
    void AppendOutputNames(std::vector<std::string>& names) override;
    CAudioIn* CreateLocalInput(int32_t) override { return nullptr; }
    CAudioOut* CreateLocalOutput(int32_t index) override;
    int32_t GetLocalMixerId(int32_t) override { return -1; }

private:
    std::vector<Entry> m_entries;
};

} // namespace tw
