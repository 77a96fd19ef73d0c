#include "view/EditDialogs.h"

#include "platform/Messages.h"
#include "platform/Presentation.h"

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

// The ranges a person may type. Frequencies reach half the highest rate the format dialog offers;
// a frequency of 0 is taken as it stands (saw-tooth and square then give a constant). Six hours of
// signal still count as 32-bit frames at 192 kHz.
CDialogField FrequencyField(const char* key, const char* label, float hertz, bool enabled) {
    CDialogField field{key, label, CDialogField::Kind::Number, FieldNumberText(hertz, 1), {}, enabled};
    field.minimum = 0;
    field.maximum = 96000;
    field.step = 10;
    field.decimals = 1;
    field.unit = "Hz";
    return field;
}

constexpr double kLongestSeconds = 21600;
constexpr int kQuietestDb = -90;

int DecibelsOf(float amplitude) {
    if (!(amplitude > 0))
        return kQuietestDb;
    return std::clamp(static_cast<int>(std::lround(20.0 * std::log10(amplitude))), kQuietestDb, 0);
}

} // namespace

std::vector<CDialogField> CSignalGeneratorDlg::GetFormFields() const {
    const bool tones = m_settings.type == SignalGeneratorSettings::tones;
    CDialogField type{
        "type", "Signal", CDialogField::Kind::Radio, std::to_string(tones ? 0 : 1), {"Tones", "Noise"}, true};
    // The other fields follow the choice of signal at once.
    type.live = true;
    CDialogField waveform{"waveform",
                          "Waveform:",
                          CDialogField::Kind::Choice,
                          std::to_string(std::clamp(m_settings.waveform, 0, 2)),
                          {"Sine", "Saw-tooth", "Square"},
                          tones};
    CDialogField color{"noiseColor",
                       "Noise color:",
                       CDialogField::Kind::Choice,
                       std::to_string(std::clamp(m_settings.noiseColor, 0, 2)),
                       {"White", "Pink", "Brown"},
                       !tones};
    CDialogField duration{
        "duration", "Duration:", CDialogField::Kind::Number, FieldNumberText(m_settings.duration, 2),
        {},         true};
    duration.minimum = 0.01;
    duration.maximum = kLongestSeconds;
    duration.step = 1;
    duration.decimals = 2;
    duration.unit = "s";
    CDialogField amplitude{"amplitude",
                           "Amplitude",
                           CDialogField::Kind::Slider,
                           std::to_string(DecibelsOf(m_settings.amplitude)),
                           {},
                           true};
    amplitude.minimum = kQuietestDb;
    amplitude.maximum = 0;
    amplitude.unit = "dB";
    return {type,
            waveform,
            color,
            FrequencyField("startFrequency", "Start frequency:", m_settings.startFrequency, tones),
            FrequencyField("endFrequency", "End frequency:", m_settings.endFrequency, tones),
            duration,
            amplitude};
}

void CSignalGeneratorDlg::SetFormField(const std::string& key, const std::string& value) {
    auto index = [&value](int count) {
        return value.size() == 1 && value[0] >= '0' && value[0] < '0' + count ? value[0] - '0' : -1;
    };
    if (key == "type" && index(2) >= 0) {
        m_settings.type = index(2);
    } else if (key == "waveform" && index(3) >= 0) {
        m_settings.waveform = index(3);
    } else if (key == "noiseColor" && index(3) >= 0) {
        m_settings.noiseColor = index(3);
    } else if (key == "amplitude") {
        double decibels = 0;
        // The slider moves in whole decibels: an amplitude between two steps stays as it was
        // unless the slider was moved off it.
        if (ParseFieldNumber(value, decibels) &&
            static_cast<int>(decibels) != DecibelsOf(m_settings.amplitude))
            m_settings.amplitude =
                AmplitudeFromDecibels(std::clamp(static_cast<int>(decibels), kQuietestDb, 0));
    } else if (key == "startFrequency" || key == "endFrequency" || key == "duration") {
        for (const CDialogField& field : GetFormFields()) {
            if (field.key != key)
                continue;
            double number = 0;
            if (!ParseFieldNumber(value, number) || number < field.minimum || number > field.maximum) {
                m_refused = key;
                return;
            }
            if (key == "duration")
                m_settings.duration = number;
            else
                (key == "startFrequency" ? m_settings.startFrequency : m_settings.endFrequency) =
                    static_cast<float>(number);
            if (m_refused == key)
                m_refused.clear();
        }
    }
}

void CSignalGeneratorDlg::OnOK() {
    if (!m_refused.empty()) {
        for (const CDialogField& field : GetFormFields())
            if (field.key == m_refused)
                ShowMessageBox(FieldRangeMessage(field), MB_ICONWARNING, GetSafeHandle());
        return;
    }
    m_settings.Save();
    CModalDialog::OnOK();
}

} // namespace tw
