// The statistics of a document: its sample format, the tempo at the selection's start and its
// length, all worked out when the dialog is made, so the dialog only shows texts.
#pragma once

#include "core/Section.h"
#include "platform/ModalDialog.h"

#include <string>

namespace tw {

class CEditedMedia;

class CPropertiesDialog : public CModalDialog {
public:
    static constexpr const char* kTitle = "Recording Statistics";

    // Reads `media` (the tempo estimate reads its audio) on the calling thread.
    CPropertiesDialog(CEditedMedia& media, const CSection& selection);

    std::string DialogName() const override { return "Statistics"; }
    std::string GetWindowText() const override { return kTitle; }

    // The three read-only fields: 6028, 6030 and 6032.
    const std::string& GetFormatText() const { return m_format; }
    const std::string& GetTempoText() const { return m_tempo; }
    const std::string& GetLengthText() const { return m_length; }
    const CSection& GetSelection() const { return m_selection; }

private:
    CSection m_selection;
    std::string m_format = "-";
    std::string m_tempo = "-";
    std::string m_length = "00:00:00:000";
};

} // namespace tw
