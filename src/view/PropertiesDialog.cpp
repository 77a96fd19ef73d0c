#include "view/PropertiesDialog.h"

#include "core/EditedMedia.h"
#include "dsp/TempoEstimate.h"
#include "platform/StringTable.h"
#include "storage/FormatTime.h"

namespace tw {

CPropertiesDialog::CPropertiesDialog(CEditedMedia& media, const CSection& selection)
    : m_selection(selection) {
    // The bits the document is stored with, not those of the working floats.
    const WAVEFORMATEX* format = media.GetNativeFormat();
    if (media.IsEmpty() || format == nullptr)
        return;
    // Decimals with '.', whatever locale a host set for the process.
    m_tempo = FieldNumberText(static_cast<double>(EstimateTempo(media, selection.m_start, false)), 2);
    m_format = FormatText(format->nSamplesPerSec, format->wBitsPerSample, format->nChannels);
    m_length = FormatTime(media.GetLength(), format->nSamplesPerSec);
}

std::string CPropertiesDialog::FormatText(uint32_t rate, int bits, int channels) {
    const std::string kilohertz = FieldNumberText(rate / 1000.0, 1);
    if (channels == 1)
        return Format("%s kHz, %d bits, mono", kilohertz.c_str(), bits);
    if (channels == 2)
        return Format("%s kHz, %d bits, stereo", kilohertz.c_str(), bits);
    return Format("%s kHz, %d bits, %d.1 channel surround", kilohertz.c_str(), bits, channels - 1);
}

std::vector<CDialogField> CPropertiesDialog::GetFormFields() const {
    return {{"format", "Sample format:", CDialogField::Kind::Label, m_format, {}, true},
            {"tempo", "Beats per minute:", CDialogField::Kind::Label, m_tempo, {}, true},
            {"length", "Total recording length:", CDialogField::Kind::Label, m_length, {}, true}};
}

} // namespace tw
