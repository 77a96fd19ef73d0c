// The question after an improper shutdown: working containers of a former run are lying in the
// temporary folder. The person picks what happens to all of them.
#pragma once

#include "platform/ModalDialog.h"

#include <string>
#include <vector>

namespace tw {

class CCrashGuardDialog : public CModalDialog {
public:
    enum Choice { recover = 0, deleteFiles = 1, leave = 2 };
    static constexpr const char* kTitle = "Crash Guard";
    static constexpr const char* kText = "Undeleted temporary files are present in the temporary directory "
                                         "of the Vond Tidewright. These files "
                                         "are probably a result of an improper shutdown of Vond Tidewright.";
    static constexpr const char* kPrompt = "Please choose how to proceed:";
    static constexpr const char* kChoiceTexts[3] = {"Recover the content", "Delete the files",
                                                    "Leave the files"};

    std::string DialogName() const override { return "CrashGuard"; }
    std::string GetWindowText() const override { return kTitle; }

    std::vector<CDialogField> GetFormFields() const override {
        CDialogField text{"", "", CDialogField::Kind::Label, kText, {}, true};
        CDialogField choice{"choice",
                            kPrompt,
                            CDialogField::Kind::Radio,
                            std::to_string(m_choice),
                            {kChoiceTexts[0], kChoiceTexts[1], kChoiceTexts[2]},
                            true};
        return {text, choice};
    }
    void SetFormField(const std::string& key, const std::string& value) override {
        if (key == "choice" && !value.empty() && value[0] >= '0' && value[0] <= '2')
            m_choice = value[0] - '0';
    }

    int m_choice = recover;
};

} // namespace tw
