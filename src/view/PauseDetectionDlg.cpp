#include "view/PauseDetectionDlg.h"

#include "platform/Messages.h"
#include "platform/Presentation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tw {

namespace {

// A day is the longest length a field takes; the slider reaches down to -90 dB.
constexpr double kLongestLength = 86400.0;
constexpr int32_t kLowestThreshold = -90;

} // namespace

CPauseDetectionDlg::CPauseDetectionDlg() : m_settings(LoadPauseDetectionSettings()) {}

CPauseDetectionDlg::~CPauseDetectionDlg() {
    SavePauseDetectionSettings(m_settings);
}

void CPauseDetectionDlg::SetAction(int32_t action) {
    if (action >= insertSplits && action <= insertSplitsAndDeletePauses)
        m_settings.action = action;
}

void CPauseDetectionDlg::SetThreshold(int32_t decibels) {
    m_settings.thresholdDb = decibels;
}

void CPauseDetectionDlg::Spin(Length which, int32_t delta) {
    float& seconds = LengthOf(which);
    seconds = std::max(0.0f, seconds + static_cast<float>(delta) / 10.0f);
    // The field shows one decimal and the value is what the field shows.
    SetLengthText(which, GetLengthText(which));
}

bool CPauseDetectionDlg::SetLengthText(Length which, const std::string& text) {
    double value = 0;
    if (!ParseFieldNumber(text, value) || value < 0.0 || value > kLongestLength)
        return false;
    LengthOf(which) = static_cast<float>(value);
    return true;
}

std::string CPauseDetectionDlg::GetLengthText(Length which) const {
    // One decimal with '.', whatever the locale a host set: the text goes back through
    // SetLengthText.
    return FieldNumberText(which == minPause ? m_settings.minPauseSeconds : m_settings.minSongSeconds, 1);
}

std::vector<CDialogField> CPauseDetectionDlg::GetFormFields() const {
    CDialogField action{"action",
                        "Action",
                        CDialogField::Kind::Radio,
                        std::to_string(m_settings.action),
                        {"Insert track splits", "Delete pauses", "Insert track splits and delete pauses"},
                        true};
    CDialogField threshold{
        "threshold", "Threshold", CDialogField::Kind::Slider, std::to_string(m_settings.thresholdDb),
        {},          true};
    threshold.minimum = kLowestThreshold;
    threshold.maximum = 0;
    threshold.unit = "dB";
    auto length = [this](const char* key, const char* label, Length which) {
        CDialogField field{key, label, CDialogField::Kind::Number, GetLengthText(which), {}, true};
        field.minimum = 0;
        field.maximum = kLongestLength;
        field.step = 0.1; // a spin step is a tenth of a second
        field.decimals = 1;
        field.unit = "s";
        return field;
    };
    return {action, threshold, length("minPause", "Minimal pause length:", minPause),
            length("minSong", "Minimal song length:", minSong)};
}

void CPauseDetectionDlg::SetFormField(const std::string& key, const std::string& value) {
    double number = 0;
    if (key == "action") {
        if (ParseFieldNumber(value, number))
            SetAction(static_cast<int32_t>(number));
    } else if (key == "threshold") {
        if (ParseFieldNumber(value, number))
            SetThreshold(static_cast<int32_t>(number));
    } else if (key == "minPause" || key == "minSong") {
        if (!SetLengthText(key == "minPause" ? minPause : minSong, value))
            m_refused = key;
        else if (m_refused == key)
            m_refused.clear();
    }
}

void CPauseDetectionDlg::OnOK() {
    if (!m_refused.empty()) {
        for (const CDialogField& field : GetFormFields())
            if (field.key == m_refused)
                ShowMessageBox(FieldRangeMessage(field), MB_ICONWARNING, GetSafeHandle());
        return;
    }
    CModalDialog::OnOK();
}

} // namespace tw
