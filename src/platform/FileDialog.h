// The system's file dialog for opening and saving, and the folder dialog, as the document thread
// sees them. The filter is the system's own string ("name|patterns|name|patterns|...", patterns
// separated by ';'), its entries passed through the string table's substitutions; the presentation
// shows them and hands back the chosen paths and entry. When the person picks another entry the
// dialog is told on its own thread (ChangeType), so a dialog with more to show (the extended save
// dialog's format and text fields) can change it; those fields come as the dialog's form fields.
//
// A headless script answers it like any dialog: on "FileSave", "FileOpen" or "Folder" it sets the
// path or paths (and, if it likes, the entry and form fields) and calls OnOK, or it calls
// OnCancel. Without a script it is cancelled: nobody is there to type a name.
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
    bool NeedsTypedInput() const override { return true; }

    bool IsForOpening() const { return m_forOpening; }
    bool IsForFolder() const { return m_forFolder; }
    const std::vector<FilterEntry>& Filters() const { return m_filters; }
    // The chosen entry, from 1 as the system counts them.
    int GetFilterIndex() const { return m_filterIndex; }
    void SetFilterIndex(int index);
    // The person picked entry `index` (from 1): it becomes the chosen one and OnTypeChange runs,
    // then the presentation is told what the dialog shows now. On the dialog's thread.
    void ChangeType(int index);

    // Where the dialog starts when no path is preset; empty: wherever the presentation likes.
    const std::string& GetInitialFolder() const { return m_initialFolder; }
    void SetInitialFolder(const std::string& folder) { m_initialFolder = folder; }
    // An open dialog that lets the person choose several files at once.
    bool AllowsMultipleSelection() const { return m_multiple; }
    void SetMultipleSelection(bool multiple) { m_multiple = multiple; }
    bool PromptsOverwrite() const { return m_overwritePrompt; }
    void SetOverwritePrompt(bool prompt) { m_overwritePrompt = prompt; }
    bool ShowsReadOnly() const { return m_showReadOnly; }
    void SetShowReadOnly(bool show) { m_showReadOnly = show; }
    const std::string& GetDefaultExtension() const { return m_defaultExtension; }

    // The path as chosen, with the default extension added when it has none: the extension of the
    // chosen entry's first pattern when it names one ("*.flac"), else the dialog's default.
    std::string GetPathName() const;
    void SetPathName(const std::string& path);
    // Every path chosen, in order, each completed as GetPathName completes the first.
    std::vector<std::string> GetPathNames() const;
    void SetPathNames(std::vector<std::string> paths) { m_paths = std::move(paths); }

    // Text fields of the file to be written; empty values are not offered to the format.
    const std::map<std::string, std::string>& GetTexts() const { return m_texts; }
    void SetText(const std::string& name, const std::string& value) { m_texts[name] = value; }

    // Splits a filter string into its entries; a trailing name without patterns is dropped.
    static std::vector<FilterEntry> ParseFilter(const std::string& filter);

    void OnOK() override;

protected:
    // The chosen entry changed (its index is GetFilterIndex()); the dialog may change its fields.
    virtual void OnTypeChange() {}
    bool m_forFolder = false;

private:
    std::string Completed(const std::string& path) const;

    bool m_forOpening;
    std::string m_defaultExtension;
    std::vector<FilterEntry> m_filters;
    int m_filterIndex = 1;
    bool m_overwritePrompt = true;
    bool m_showReadOnly = false;
    bool m_multiple = false;
    std::string m_initialFolder;
    std::vector<std::string> m_paths;
    std::map<std::string, std::string> m_texts;
};

// Asks for a folder: the chosen path is the folder's, without any extension added.
class CFolderDialog : public CFileDialog {
public:
    // `title`: the caption the presentation shows.
    CFolderDialog(const std::string& title, const std::string& initialFolder);
    std::string DialogName() const override { return "Folder"; }
    std::string GetWindowText() const override { return m_title; }

private:
    std::string m_title;
};

} // namespace tw
