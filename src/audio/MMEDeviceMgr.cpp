#include "audio/MMEDeviceMgr.h"

#include "audio/MMEIn.h"
#include "audio/MMEOut.h"

namespace tw {

CMMEDeviceMgr::CMMEDeviceMgr() : m_devices(CAlsaDeviceList::Enumerate()) {
    SetCounts(static_cast<int32_t>(m_devices.GetInputs().size()) + 1,
              static_cast<int32_t>(m_devices.GetOutputs().size()) + 1);
}

void CMMEDeviceMgr::AppendInputNames(std::vector<std::string>& names) {
    for (const CAlsaDeviceList::Device& d : m_devices.GetInputs())
        names.push_back(CAlsaDeviceList::DisplayName(d));
    names.push_back(CAlsaDeviceList::kMapperName);
}

void CMMEDeviceMgr::AppendOutputNames(std::vector<std::string>& names) {
    for (const CAlsaDeviceList::Device& d : m_devices.GetOutputs())
        names.push_back(CAlsaDeviceList::DisplayName(d));
    names.push_back(CAlsaDeviceList::kMapperName);
}

CAudioIn* CMMEDeviceMgr::CreateLocalInput(int32_t index) {
    const std::string pcm = m_devices.InputPcm(index);
    return pcm.empty() ? nullptr : new CMMEIn(pcm);
}

CAudioOut* CMMEDeviceMgr::CreateLocalOutput(int32_t index) {
    const std::string pcm = m_devices.OutputPcm(index);
    return pcm.empty() ? nullptr : new CMMEOut(pcm);
}

} // namespace tw
