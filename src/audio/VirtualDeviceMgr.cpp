#include "audio/VirtualDeviceMgr.h"

#include "audio/VirtualAudioIn.h"
#include "audio/VirtualAudioOut.h"
#include "audio/VirtualDevice.h"

namespace tw {

CVirtualDeviceMgr::CVirtualDeviceMgr(std::vector<std::shared_ptr<CVirtualDevice>> inputs,
                                     std::vector<std::shared_ptr<CVirtualDevice>> outputs)
    : m_inputs(std::move(inputs)), m_outputs(std::move(outputs)) {
    SetCounts(static_cast<int32_t>(m_inputs.size()), static_cast<int32_t>(m_outputs.size()));
}

std::shared_ptr<CVirtualDevice> CVirtualDeviceMgr::GetInputDevice(int32_t index) const {
    if (index < 0 || index >= static_cast<int32_t>(m_inputs.size()))
        return nullptr;
    return m_inputs[static_cast<size_t>(index)];
}

std::shared_ptr<CVirtualDevice> CVirtualDeviceMgr::GetOutputDevice(int32_t index) const {
    if (index < 0 || index >= static_cast<int32_t>(m_outputs.size()))
        return nullptr;
    return m_outputs[static_cast<size_t>(index)];
}

void CVirtualDeviceMgr::AppendInputNames(std::vector<std::string>& names) {
    for (const auto& d : m_inputs)
        names.push_back("Virtual: " + d->GetName());
}

void CVirtualDeviceMgr::AppendOutputNames(std::vector<std::string>& names) {
    for (const auto& d : m_outputs)
        names.push_back("Virtual: " + d->GetName());
}

CAudioIn* CVirtualDeviceMgr::CreateLocalInput(int32_t index) {
    auto device = GetInputDevice(index);
    return device ? new CVirtualAudioIn(device) : nullptr;
}

CAudioOut* CVirtualDeviceMgr::CreateLocalOutput(int32_t index) {
    auto device = GetOutputDevice(index);
    return device ? new CVirtualAudioOut(device) : nullptr;
}

} // namespace tw
