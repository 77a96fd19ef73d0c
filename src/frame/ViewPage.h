// The "View" page of the options: axis, ruler, play cursor tracing and the colour set. The colour
// set's check asks for green on black, so it shows the "Appearance" setting inverted: checked is 0.
#pragma once

#include "frame/OptionsPage.h"

namespace tw {

class CViewPage : public COptionsPage {
public:
    static constexpr uint32_t kResourceId = 151;

    CViewPage(); // reads the settings

    uint32_t GetResourceId() const override { return kResourceId; }
    std::string GetTitle() const override { return "View"; }
    std::vector<CDialogField> GetFields() const override;
    // "showAxis", "showRuler", "tracePlayback", "greenOnBlack": "1" checked, anything else not.
    bool SetField(const std::string& key, const std::string& value) override;
    // Writes the four settings, makes the colour set the process's global one and tells every
    // open document, whose visualizers are then made anew with the new colours.
    void OnOK(WindowHandle frame) override;

private:
    bool m_showAxis = true;
    bool m_showRuler = true;
    bool m_tracePlayback = true;
    bool m_greenOnBlack = false;
};

} // namespace tw
