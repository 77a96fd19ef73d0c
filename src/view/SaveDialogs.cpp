#include "view/SaveDialogs.h"

#include "storage/FileFilterManager.h"
#include "storage/FilteredOutput.h"

namespace tw {

CExtFileDialog::CExtFileDialog(const std::string& filter, const WAVEFORMATEX& format, const CSection& section)
    : CFileDialog(false, ".wav", filter), m_format(format), m_section(section) {}

CExtFileDialog::~CExtFileDialog() = default;

void CExtFileDialog::SelectType(int position) {
    SetFilterIndex(position);
    m_filter.reset();
    m_filterId = -1;
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr)
        return;
    m_filter.reset(manager->CreateOutputByIndex(position, m_format));
    if (m_filter)
        m_filterId = manager->PluginOfSavePosition(position);
}

CFilteredOutput* CExtFileDialog::TakeFilter() {
    // The texts go to the target before its file exists: the writer keeps them until it closes.
    if (m_filter)
        for (const auto& [name, value] : GetTexts())
            if (!value.empty())
                m_filter->WriteMetadata(name, value);
    return m_filter.release();
}

void CExtFileDialog::OnOK() {
    // The type in force at OK decides the filter, whatever was chosen on the way.
    SelectType(GetFilterIndex());
    CFileDialog::OnOK();
}

} // namespace tw
