// The pause detection dialog: what to do with the pauses (splits, cuts or both), the threshold in
// decibels and the two lengths in seconds. It starts from the stored values and stores what it
// holds when it goes, whether or not it ended with OK, as the person left the fields.
#pragma once

#include "dsp/PauseDetection.h"
#include "platform/ModalDialog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CPauseDetectionDlg : public CModalDialog {
public:
    enum Length { minPause = 0, minSong = 1 };

    CPauseDetectionDlg();
    ~CPauseDetectionDlg() override;

    std::string DialogName() const override { return "PauseDetection"; }
    std::string GetWindowText() const override { return "Pause Detection"; }
    std::vector<CDialogField> GetFormFields() const override;
    // "action" (0..2), "threshold" (decibels) and the two lengths "minPause" and "minSong" as typed.
    void SetFormField(const std::string& key, const std::string& value) override;
    std::string GetFocusField() const override { return m_refused; }
    // A length typed that is no number of seconds keeps the dialog open, says so and takes the focus.
    void OnOK() override;

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
    std::string m_refused; // the field whose last text was refused
};

} // namespace tw
