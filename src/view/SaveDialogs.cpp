#include "view/SaveDialogs.h"

#include "storage/FileFilterManager.h"
#include "storage/FilteredOutput.h"
#include "storage/FormatTime.h"
#include "view/PropertiesDialog.h"

#include <iterator>

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

std::vector<CDialogField> CExtFileDialog::GetFormFields() const {
    uint32_t rate = m_format.nSamplesPerSec;
    uint32_t bits = m_format.wBitsPerSample;
    uint32_t channels = m_format.nChannels;
    if (m_filter) {
        uint32_t writtenRate = 0, writtenBits = 0, writtenChannels = 0;
        if (m_filter->GetWrittenFormat(writtenRate, writtenBits, writtenChannels) && writtenRate != 0 &&
            writtenChannels != 0) {
            rate = writtenRate;
            bits = writtenBits;
            channels = writtenChannels;
        }
    }
    std::vector<CDialogField> fields = {
        {"",
         "Format:",
         CDialogField::Kind::Label,
         CPropertiesDialog::FormatText(rate, static_cast<int>(bits), static_cast<int>(channels)),
         {},
         true},
        {"",
         "Length:",
         CDialogField::Kind::Label,
         FormatTime(m_section.SectionLength(), m_format.nSamplesPerSec),
         {},
         true}};
    static constexpr const char* kLabels[] = {
        "Title:", "Artist:", "Album:", "Genre:", "Year:", "Track number:", "Comment:"};
    for (size_t i = 0; i < std::size(kTextKeys); ++i) {
        auto text = GetTexts().find(kTextKeys[i]);
        fields.push_back({kTextKeys[i],
                          kLabels[i],
                          CDialogField::Kind::Text,
                          text != GetTexts().end() ? text->second : std::string(),
                          {},
                          m_filter != nullptr});
    }
    return fields;
}

void CExtFileDialog::SetFormField(const std::string& key, const std::string& value) {
    for (const char* text : kTextKeys)
        if (key == text)
            SetText(key, value);
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
