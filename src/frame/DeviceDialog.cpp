#include "frame/DeviceDialog.h"

#include "audio/AudioDeviceMgr.h"
#include "platform/Settings.h"

#include <charconv>

namespace tw {

namespace {
constexpr const char* kSection = "Audio";

// A stored number no device has any more (a card taken out) selects nothing.
int32_t Selected(int32_t number, const std::vector<std::string>& names) {
    return number >= 0 && static_cast<size_t>(number) < names.size() ? number : -1;
}
} // namespace

CDeviceDialog::CDeviceDialog(CAudioDeviceMgr* devices) {
    if (devices != nullptr) {
        devices->GetInputNames(m_inputNames);
        devices->GetOutputNames(m_outputNames);
    }
    m_input = Selected(GetSettingInt(kSection, "InputDevice", 0), m_inputNames);
    // The default output is the one playback takes: the first device behind the chain's head.
    const int32_t defaultOutput = devices != nullptr ? devices->GetOutputCount() : 0;
    m_output = Selected(GetSettingInt(kSection, "OutputDevice", defaultOutput), m_outputNames);
}

std::vector<CDialogField> CDeviceDialog::GetFormFields() const {
    return {CDialogField{"input", "Input device:", CDialogField::Kind::Choice, std::to_string(m_input),
                         m_inputNames},
            CDialogField{"output", "Output device:", CDialogField::Kind::Choice, std::to_string(m_output),
                         m_outputNames}};
}

void CDeviceDialog::SetFormField(const std::string& key, const std::string& value) {
    int32_t position = -1;
    const auto result = std::from_chars(value.data(), value.data() + value.size(), position);
    if (result.ec != std::errc() || result.ptr != value.data() + value.size())
        return;
    // A position no device has (nothing chosen) leaves the box as it was.
    if (key == "input" && Selected(position, m_inputNames) >= 0)
        m_input = position;
    else if (key == "output" && Selected(position, m_outputNames) >= 0)
        m_output = position;
}

void CDeviceDialog::OnOK() {
    if (m_input >= 0)
        PutSettingInt(kSection, "InputDevice", m_input);
    if (m_output >= 0)
        PutSettingInt(kSection, "OutputDevice", m_output);
    CModalDialog::OnOK();
}

} // namespace tw
