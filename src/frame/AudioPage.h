// The "Save/Output Settings" page of the options: dither and its noise shaping filter, restoring
// the output volume at the end, the bit depth at the device and how surround audio plays. The bit
// depth is stored as its number of bits, not as the box's position; the filter box is greyed while
// dither is off.
#pragma once

#include "frame/OptionsPage.h"

namespace tw {

class CAudioPage : public COptionsPage {
public:
    static constexpr uint32_t kResourceId = 6005;

    CAudioPage(); // reads the settings

    uint32_t GetResourceId() const override { return kResourceId; }
    std::string GetTitle() const override { return "Save/Output Settings"; }
    std::vector<CDialogField> GetFields() const override;
    // Checks "dithering", "restoreVolume"; box positions "noiseShaping", "resolution", "surround".
    // A position outside its box leaves the box as it was.
    bool SetField(const std::string& key, const std::string& value) override;
    void OnOK(WindowHandle frame) override;

private:
    bool m_dithering = false;
    int32_t m_noiseShaping = 1;
    bool m_restoreVolume = true;
    int32_t m_resolution = 1; // position in the bit depth box
    int32_t m_surround = 0;
};

} // namespace tw
