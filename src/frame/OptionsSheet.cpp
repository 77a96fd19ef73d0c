#include "frame/OptionsSheet.h"

#include "frame/AudioPage.h"
#include "frame/DirectoriesPage.h"
#include "frame/ViewPage.h"

namespace tw {

COptionsSheet::COptionsSheet(uint32_t startPage) {
    m_pages.push_back(std::make_unique<CViewPage>());
    m_pages.push_back(std::make_unique<CDirectoriesPage>());
    m_pages.push_back(std::make_unique<CAudioPage>());
    if (startPage != 0)
        SetActivePage(startPage);
}

COptionsSheet::~COptionsSheet() = default;

bool COptionsSheet::SetActivePage(uint32_t resourceId) {
    for (size_t i = 0; i < m_pages.size(); ++i)
        if (m_pages[i]->GetResourceId() == resourceId) {
            m_active = i;
            m_focus.clear();
            return true;
        }
    return false;
}

std::vector<CDialogField> COptionsSheet::GetFormFields() const {
    std::vector<CDialogField> fields;
    for (const auto& page : m_pages)
        for (CDialogField& field : page->GetFields()) {
            field.page = page->GetTitle();
            fields.push_back(std::move(field));
        }
    return fields;
}

void COptionsSheet::SetFormField(const std::string& key, const std::string& value) {
    for (const auto& page : m_pages)
        if (page->SetField(key, value))
            return;
}

std::string COptionsSheet::GetFocusField() const {
    if (!m_focus.empty())
        return m_focus;
    const std::vector<CDialogField> fields = m_pages[m_active]->GetFields();
    return fields.empty() ? std::string() : fields.front().key;
}

void COptionsSheet::OnOK() {
    for (size_t i = 0; i < m_pages.size(); ++i)
        if (!m_pages[i]->CanApply(GetSafeHandle())) {
            m_active = i;
            m_focus = m_pages[i]->GetFocusField();
            return;
        }
    for (const auto& page : m_pages)
        page->OnOK(GetOwner());
    CModalDialog::OnOK();
}

} // namespace tw
