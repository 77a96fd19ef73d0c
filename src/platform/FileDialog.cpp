#include "platform/FileDialog.h"

namespace tw {

namespace {

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t end = text.find(separator, start);
        if (end == std::string::npos) {
            parts.push_back(text.substr(start));
            break;
        }
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

} // namespace

CFileDialog::CFileDialog(bool forOpening, const std::string& defaultExtension, const std::string& filter)
    : m_forOpening(forOpening), m_filters(ParseFilter(filter)) {
    m_defaultExtension = !defaultExtension.empty() && defaultExtension.front() == '.'
                             ? defaultExtension.substr(1)
                             : defaultExtension;
    m_showReadOnly = forOpening;
    m_overwritePrompt = !forOpening;
}

std::vector<CFileDialog::FilterEntry> CFileDialog::ParseFilter(const std::string& filter) {
    std::vector<FilterEntry> entries;
    const std::vector<std::string> parts = Split(filter, '|');
    for (size_t i = 0; i + 1 < parts.size(); i += 2) {
        if (parts[i].empty() && parts[i + 1].empty())
            break; // the "||" that ends a filter string
        FilterEntry entry;
        entry.name = parts[i];
        for (const std::string& pattern : Split(parts[i + 1], ';'))
            if (!pattern.empty())
                entry.patterns.push_back(pattern);
        entries.push_back(std::move(entry));
    }
    return entries;
}

void CFileDialog::SetFilterIndex(int index) {
    // An entry the filter does not have falls back to the first, as the system's dialog does.
    m_filterIndex = index >= 1 && index <= static_cast<int>(m_filters.size()) ? index : 1;
}

std::string CFileDialog::GetPathName() const {
    if (m_path.empty() || m_defaultExtension.empty())
        return m_path;
    const size_t slash = m_path.find_last_of('/');
    const size_t dot = m_path.find_last_of('.');
    if (dot != std::string::npos && (slash == std::string::npos || dot > slash))
        return m_path;
    return m_path + "." + m_defaultExtension;
}

void CFileDialog::OnOK() {
    // OK without a name is no choice; the dialog stays, as a person would see it stay.
    if (m_path.empty())
        return;
    CModalDialog::OnOK();
}

} // namespace tw
