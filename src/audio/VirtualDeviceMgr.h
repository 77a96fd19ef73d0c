// The device manager of the virtual back end: a fixed list of in-memory input and output
// endpoints, listed as "Virtual: <name>". It takes the place of a hardware back end where none can
// be used (tests, machines without a sound server) and numbers its devices in the global chain
// like any other manager.
#pragma once

#include "audio/AudioDeviceMgr.h"

#include <memory>
#include <vector>

namespace tw {

class CVirtualDevice;

class CVirtualDeviceMgr : public CAudioDeviceMgr {
public:
    CVirtualDeviceMgr(std::vector<std::shared_ptr<CVirtualDevice>> inputs,
                      std::vector<std::shared_ptr<CVirtualDevice>> outputs);

    // The endpoint behind a local index, for scripting its presence and signal; null outside.
    std::shared_ptr<CVirtualDevice> GetInputDevice(int32_t index) const;
    std::shared_ptr<CVirtualDevice> GetOutputDevice(int32_t index) const;

protected:
    void AppendInputNames(std::vector<std::string>& names) override;
    void AppendOutputNames(std::vector<std::string>& names) override;
    CAudioIn* CreateLocalInput(int32_t index) override;
    CAudioOut* CreateLocalOutput(int32_t index) override;
    int32_t GetLocalMixerId(int32_t index) override { return index; }

private:
    std::vector<std::shared_ptr<CVirtualDevice>> m_inputs;
    std::vector<std::shared_ptr<CVirtualDevice>> m_outputs;
};

} // namespace tw
