#include "view/ApplyDialog.h"

#include "dsp/TransformPlugin.h"

namespace tw {

std::string CApplyDialog::GetWindowText() const {
    return m_transform != nullptr ? m_transform->GetName() : std::string();
}

std::vector<CDialogField> CApplyDialog::GetFormFields() const {
    return {{"", "Effects", CDialogField::Kind::Header, GetWindowText(), {}, true}};
}

} // namespace tw
