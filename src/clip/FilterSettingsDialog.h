// The settings dialog of the audio file filters: lists every format the filters read and write,
// as the format library names them. The format library over libsndfile keeps no options of its
// own, so the dialog informs and changes nothing; it is where a library with options would put
// them.
#pragma once

#include "platform/ModalDialog.h"

#include <string>
#include <vector>

namespace tw {

class CFilterSettingsDialog : public CModalDialog {
public:
    CFilterSettingsDialog(std::vector<std::string> readers, std::vector<std::string> writers)
        : m_readers(std::move(readers)), m_writers(std::move(writers)) {}

    std::string DialogName() const override { return "FileFilterSettings"; }
    std::string GetWindowText() const override { return "Audio File Filters"; }
    bool OffersCancel() const override { return false; }
    // A table of the formats: name, file types, and whether each opens and saves; a save entry
    // is matched to its open entry by the name before its "(patterns)".
    std::vector<CDialogField> GetFormFields() const override;

    // "name|patterns" of each format that opens, and the display name of each that saves.
    const std::vector<std::string>& Readers() const { return m_readers; }
    const std::vector<std::string>& Writers() const { return m_writers; }

private:
    std::vector<std::string> m_readers;
    std::vector<std::string> m_writers;
};

} // namespace tw
