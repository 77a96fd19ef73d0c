// "About Vond Tidewright": the product, its version, what it is and the libraries it stands on.
// It only informs: one OK closes it.
#pragma once

#include "platform/ModalDialog.h"

#include <string>

namespace tw {

class CAboutDlg : public CModalDialog {
public:
    std::string DialogName() const override { return "About"; }
    std::string GetWindowText() const override;
    bool OffersCancel() const override { return false; }
    // Fields: "product" (header), "version", "description" (labels), "libraries" (a table of
    // library and what it does here).
    std::vector<CDialogField> GetFormFields() const override;

    // The version a person reads: "<major>.<minor>" of the project.
    static std::string VersionText();
};

} // namespace tw
