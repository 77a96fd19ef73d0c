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
    m_tempo = Format("%.2f", static_cast<double>(EstimateTempo(media, selection.m_start, false)));
    const double kilohertz = format->nSamplesPerSec / 1000.0;
    const int bits = format->wBitsPerSample;
    if (format->nChannels == 1)
        m_format = Format("%.1f kHz, %d bits, mono", kilohertz, bits);
    else if (format->nChannels == 2)
        m_format = Format("%.1f kHz, %d bits, stereo", kilohertz, bits);
    else
        m_format = Format("%.1f kHz, %d bits, %d.1 channel surround", kilohertz, bits, format->nChannels - 1);
    m_length = FormatTime(media.GetLength(), format->nSamplesPerSec);
}

} // namespace tw
