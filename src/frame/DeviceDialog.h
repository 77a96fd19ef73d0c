// "Device Settings": which input and output device the documents use. The boxes list the device
// manager chain's names, so a name's position is its device number; the stored "InputDevice" and
// "OutputDevice" of section "Audio" are selected at start and the positions chosen are written
// back on OK. A running playback keeps its device: the next start reads the new number.
//
// Threads: the frame's document thread; the chain may be read from any.
#pragma once

#include "platform/ModalDialog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CAudioDeviceMgr;

class CDeviceDialog : public CModalDialog {
public:
    // `devices`: the head of the chain to list; null lists nothing.
    explicit CDeviceDialog(CAudioDeviceMgr* devices);

    std::string DialogName() const override { return "DeviceSettings"; }
    std::string GetWindowText() const override { return "Device Settings"; }
    // "input" and "output": the box positions; -1 while a box shows no device.
    std::vector<CDialogField> GetFormFields() const override;
    // A position outside a box's list leaves the box as it was.
    void SetFormField(const std::string& key, const std::string& value) override;
    // Writes both positions; a box that shows no device leaves its setting alone.
    void OnOK() override;

    int32_t GetInput() const { return m_input; }
    int32_t GetOutput() const { return m_output; }
    const std::vector<std::string>& GetInputNames() const { return m_inputNames; }
    const std::vector<std::string>& GetOutputNames() const { return m_outputNames; }

private:
    std::vector<std::string> m_inputNames;
    std::vector<std::string> m_outputNames;
    int32_t m_input = -1;
    int32_t m_output = -1;
};

} // namespace tw
