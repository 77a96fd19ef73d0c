// The question after an improper shutdown: working containers of a former run are lying in the
// temporary folder. The person picks what happens to all of them.
#pragma once

#include "platform/ModalDialog.h"

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

    int m_choice = recover;
};

} // namespace tw
