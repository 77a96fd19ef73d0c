// The statistics of a document: its sample format, the tempo at the selection's start and its
// length, all worked out when the dialog is made, so the dialog only shows texts.
#pragma once

#include "core/Section.h"
#include "platform/ModalDialog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CEditedMedia;

class CPropertiesDialog : public CModalDialog {
public:
    static constexpr const char* kTitle = "Recording Statistics";

    // Reads `media` (the tempo estimate reads its audio) on the calling thread.
    CPropertiesDialog(CEditedMedia& media, const CSection& selection);

    std::string DialogName() const override { return "Statistics"; }
    std::string GetWindowText() const override { return kTitle; }
    // Three read-only rows; the dialog only informs, so it closes with one button.
    std::vector<CDialogField> GetFormFields() const override;
    bool OffersCancel() const override { return false; }

    // "%.1f kHz, %d bits, mono" / "stereo" / "%d.1 channel surround", as field 6028 words a format.
    static std::string FormatText(uint32_t rate, int bits, int channels);

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
