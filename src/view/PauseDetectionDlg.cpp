#include "view/PauseDetectionDlg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tw {

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
    const char* begin = text.c_str();
    char* end = nullptr;
    const float value = std::strtof(begin, &end);
    while (end != nullptr && *end == ' ')
        ++end;
    if (end == begin || end == nullptr || *end != '\0' || !std::isfinite(value) || value < 0.0f ||
        value > 86400.0f)
        return false;
    LengthOf(which) = value;
    return true;
}

std::string CPauseDetectionDlg::GetLengthText(Length which) const {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f",
                  which == minPause ? m_settings.minPauseSeconds : m_settings.minSongSeconds);
    return text;
}

} // namespace tw
