// The dialogs of the save flows as the document thread sees them: the save prompt of a changed
// document and the extended save dialog, which also carries the format and section to be written
// and the output filter chosen by its file type.
#pragma once

#include "core/Section.h"
#include "platform/FileDialog.h"
#include "platform/ModalDialog.h"
#include "storage/InfoHolder.h"

#include <tidework/wavefmt.h>

#include <memory>
#include <string>
#include <vector>

namespace tw {

class CFilteredOutput;

class CSavePromptDlg : public CModalDialog {
public:
    enum Choice { save = 0, saveAs = 1, dontSave = 2, cancel = 3 };
    static constexpr const char* kUntitled = "Untitled recording";

    explicit CSavePromptDlg(const std::string& fileName)
        : m_fileName(fileName.empty() ? kUntitled : fileName) {}
    std::string DialogName() const override { return "SavePrompt"; }
    std::string GetWindowText() const override { return m_fileName; }
    void OnCancel() override {
        m_choice = cancel;
        CModalDialog::OnCancel();
    }
    std::vector<CDialogField> GetFormFields() const override {
        return {
            {"", "", CDialogField::Kind::Label, "Save changes to " + m_fileName + "?", {}, true},
            {"choice", "", CDialogField::Kind::Buttons, "0", {"&Save", "Save &As...", "&Don't Save"}, true}};
    }
    void SetFormField(const std::string& key, const std::string& value) override {
        if (key == "choice" && (value == "0" || value == "1" || value == "2"))
            m_choice = value[0] - '0';
    }

    std::string m_fileName;
    int m_choice = cancel;
};

// A save dialog whose file type picks an output filter for the format to be written. The filter
// made for the chosen type is handed to the caller by TakeFilter. Beside the file chooser it shows
// what will be written, in the format the chosen type really stores, and the text fields the file
// will carry, which follow the type as the person changes it.
class CExtFileDialog : public CFileDialog {
public:
    // The keys of the text fields, as the output filters name them.
    static constexpr const auto& kTextKeys = CInfoHolder::kKeys;

    CExtFileDialog(const std::string& filter, const WAVEFORMATEX& format, const CSection& section);
    ~CExtFileDialog() override;

    // "Format:" and "Length:" of what is written, then the text fields, which only a type written
    // through a filter takes (a project keeps none).
    std::vector<CDialogField> GetFormFields() const override;
    void SetFormField(const std::string& key, const std::string& value) override;

    // The text fields start as `info` holds them.
    void SetInfo(const CInfoHolder& info) {
        for (const char* key : kTextKeys)
            SetText(key, info.Get(key));
    }
    // Makes the output filter of the chosen file type (dialog position, from 1), as a change of
    // the type does. The format library's writers have no settings windows of their own, so the
    // "Options..." button never has anything to open.
    void SelectType(int position);
    // The filter made for the type in force at OK, carrying the text fields filled in; the caller
    // owns it. Null when none could be made.
    CFilteredOutput* TakeFilter();
    void OnOK() override;

    const WAVEFORMATEX& GetFormat() const { return m_format; }
    const CSection& GetSection() const { return m_section; }
    int GetFilterId() const { return m_filterId; }

protected:
    void OnTypeChange() override { SelectType(GetFilterIndex()); }

private:
    WAVEFORMATEX m_format;
    CSection m_section;
    std::unique_ptr<CFilteredOutput> m_filter;
    int m_filterId = -1;
};

} // namespace tw
