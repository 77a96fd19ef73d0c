// The system's file dialog for opening and saving, as the document thread sees it. The filter is
// the system's own string ("name|patterns|name|patterns|...", patterns separated by ';'); the
// presentation shows its entries and hands back the chosen path and entry. The save form of the
// extended kind also carries the text fields a format can store in its file (title, artist, ...),
// which the person may fill in.
//
// A headless script answers it like any dialog: on "FileSave" or "FileOpen" it sets the path (and,
// if it likes, the entry and text fields) and calls OnOK, or it calls OnCancel.
#pragma once

#include "platform/ModalDialog.h"

#include <map>
#include <string>
#include <vector>

namespace tw {

class CFileDialog : public CModalDialog {
public:
    struct FilterEntry {
        std::string name;
        std::vector<std::string> patterns; // "*.wav", ...
    };

    // `defaultExtension` with or without its dot; it is added to a chosen name that has no
    // extension of its own.
    CFileDialog(bool forOpening, const std::string& defaultExtension, const std::string& filter);

    std::string DialogName() const override { return m_forOpening ? "FileOpen" : "FileSave"; }

    bool IsForOpening() const { return m_forOpening; }
    const std::vector<FilterEntry>& Filters() const { return m_filters; }
    // The chosen entry, from 1 as the system counts them.
    int GetFilterIndex() const { return m_filterIndex; }
    void SetFilterIndex(int index);
    bool PromptsOverwrite() const { return m_overwritePrompt; }
    void SetOverwritePrompt(bool prompt) { m_overwritePrompt = prompt; }
    bool ShowsReadOnly() const { return m_showReadOnly; }
    void SetShowReadOnly(bool show) { m_showReadOnly = show; }
    const std::string& GetDefaultExtension() const { return m_defaultExtension; }

    // The path as chosen, with the default extension added when it has none.
    std::string GetPathName() const;
    void SetPathName(const std::string& path) { m_path = path; }

    // Text fields of the file to be written; empty values are not offered to the format.
    const std::map<std::string, std::string>& GetTexts() const { return m_texts; }
    void SetText(const std::string& name, const std::string& value) { m_texts[name] = value; }

    // Splits a filter string into its entries; a trailing name without patterns is dropped.
    static std::vector<FilterEntry> ParseFilter(const std::string& filter);

    void OnOK() override;

private:
    bool m_forOpening;
    std::string m_defaultExtension;
    std::vector<FilterEntry> m_filters;
    int m_filterIndex = 1;
    bool m_overwritePrompt = true;
    bool m_showReadOnly = false;
    std::string m_path;
    std::map<std::string, std::string> m_texts;
};

} // namespace tw
