#include "platform/FileDialog.h"

#include "platform/Presentation.h"
#include "platform/StringTable.h"

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
    : m_forOpening(forOpening) {
    // Each entry as the string table words it here ("*.*" is not every file on this platform).
    for (const FilterEntry& entry : ParseFilter(filter)) {
        std::string text = entry.name + "|";
        for (size_t i = 0; i < entry.patterns.size(); ++i)
            text += (i == 0 ? "" : ";") + entry.patterns[i];
        const std::vector<FilterEntry> translated = ParseFilter(FacilityText(text + "|"));
        m_filters.insert(m_filters.end(), translated.begin(), translated.end());
    }
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

void CFileDialog::ChangeType(int index) {
    SetFilterIndex(index);
    OnTypeChange();
    if (IsRunning())
        Presentation().DialogChanged(*this);
}

void CFileDialog::SetPathName(const std::string& path) {
    m_paths.clear();
    if (!path.empty())
        m_paths.push_back(path);
}

std::string CFileDialog::Completed(const std::string& path) const {
    if (path.empty() || m_forFolder)
        return path;
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot != std::string::npos && (slash == std::string::npos || dot > slash))
        return path;
    if (slash != std::string::npos && slash + 1 == path.size())
        return path; // a folder, not a name
    // A name to be written takes the chosen type's own extension, when its first pattern names one.
    std::string extension = m_defaultExtension;
    if (!m_forOpening && m_filterIndex >= 1 && m_filterIndex <= static_cast<int>(m_filters.size())) {
        const std::vector<std::string>& patterns = m_filters[m_filterIndex - 1].patterns;
        if (!patterns.empty() && patterns.front().rfind("*.", 0) == 0 &&
            patterns.front().find_first_of("*?", 2) == std::string::npos)
            extension = patterns.front().substr(2);
    }
    return extension.empty() ? path : path + "." + extension;
}

std::string CFileDialog::GetPathName() const {
    return m_paths.empty() ? std::string() : Completed(m_paths.front());
}

std::vector<std::string> CFileDialog::GetPathNames() const {
    std::vector<std::string> paths;
    for (const std::string& path : m_paths)
        if (!path.empty())
            paths.push_back(Completed(path));
    return paths;
}

void CFileDialog::OnOK() {
    // OK without a name is no choice; the dialog stays, as a person would see it stay.
    if (GetPathName().empty())
        return;
    CModalDialog::OnOK();
}

CFolderDialog::CFolderDialog(const std::string& title, const std::string& initialFolder)
    : CFileDialog(true, std::string(), std::string()), m_title(title) {
    m_forFolder = true;
    SetShowReadOnly(false);
    SetInitialFolder(initialFolder);
}

} // namespace tw
