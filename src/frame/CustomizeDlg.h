// "Customize": which buttons each toolbar of the frame shows, the standard toolbar first. OK stores
// the choice with the window layout; "Reset" shows every button of a toolbar again.
#pragma once

#include "platform/ModalDialog.h"
#include "platform/Presentation.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tw {

class CCustomizeDlg : public CModalDialog {
public:
    static constexpr const char* kReset = "reset";

    // Reads the hidden buttons of every toolbar from the settings.
    CCustomizeDlg();

    std::string DialogName() const override { return "Customize"; }
    std::string GetWindowText() const override { return "Customize"; }
    // Per toolbar, in order: a header "toolbar.<id>" with its title, then one check per button
    // "button.<toolbar>.<command>" (1: shown), live. Setting "reset" to a toolbar's id (or to an
    // empty text: every toolbar) shows its buttons again.
    std::vector<CDialogField> GetFormFields() const override;
    void SetFormField(const std::string& key, const std::string& value) override;
    // Stores the choice and ends the dialog.
    void OnOK() override;

    const std::vector<CToolbarModel>& Toolbars() const { return m_toolbars; }
    std::vector<uint32_t> Hidden(uint32_t toolbar) const;
    static std::string ButtonKey(uint32_t toolbar, uint32_t command);

private:
    std::vector<CToolbarModel> m_toolbars;
    std::map<uint32_t, std::string> m_texts;
    std::map<uint32_t, std::vector<uint32_t>> m_hidden; // by toolbar, in the order of its buttons
};

} // namespace tw
