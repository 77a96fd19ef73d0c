// The pause detection dialog: what to do with the pauses (splits, cuts or both), the threshold in
// decibels and the two lengths in seconds. It starts from the stored values and stores what it
// holds when it goes, whether or not it ended with OK, as the person left the fields.
#pragma once

#include "dsp/PauseDetection.h"
#include "platform/ModalDialog.h"

#include <cstdint>
#include <string>

namespace tw {

class CPauseDetectionDlg : public CModalDialog {
public:
    enum Length { minPause = 0, minSong = 1 };

    CPauseDetectionDlg();
    ~CPauseDetectionDlg() override;

    std::string DialogName() const override { return "PauseDetection"; }

    // The radio group; a value outside 0..2 leaves it as it is.
    void SetAction(int32_t action);
    // The slider, in whole decibels.
    void SetThreshold(int32_t decibels);
    // A spin step: `delta` tenths of a second, never below zero.
    void Spin(Length which, int32_t delta);
    // What the person typed; false (the value stays) when it is no number of seconds.
    bool SetLengthText(Length which, const std::string& text);
    // The field as shown: the seconds with one decimal.
    std::string GetLengthText(Length which) const;
    const PauseDetectionSettings& GetSettings() const { return m_settings; }

private:
    float& LengthOf(Length which) {
        return which == minPause ? m_settings.minPauseSeconds : m_settings.minSongSeconds;
    }

    PauseDetectionSettings m_settings;
};

} // namespace tw
