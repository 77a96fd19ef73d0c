// The small dialogs of the edit commands, as the document thread sees them: what they show and
// what the person chose. The presentation gives them widgets (or a script answers them).
#pragma once

#include "dsp/SignalGeneratorSettings.h"
#include "platform/ModalDialog.h"
#include "platform/StringTable.h"

#include <tidework/wavefmt.h>

#include <string>
#include <vector>

namespace tw {

// Which clipboard a paste takes when both hold audio.
class CCBSourceDialog : public CModalDialog {
public:
    enum Source { internalClipboard = 0, systemClipboard = 1 };
    static constexpr const char* kInternalText = "The internal clipboard";
    static constexpr const char* kSystemText = "The Windows clipboard"; // shown through FacilityText

    std::string DialogName() const override { return "ClipboardSource"; }
    std::string GetWindowText() const override { return "Paste"; }
    std::vector<CDialogField> GetFormFields() const override {
        return {{"source",
                 "Paste from:",
                 CDialogField::Kind::Radio,
                 std::to_string(m_source),
                 {kInternalText, FacilityText(kSystemText)},
                 true}};
    }
    void SetFormField(const std::string& key, const std::string& value) override {
        if (key == "source")
            m_source = value == "1" ? systemClipboard : internalClipboard;
    }
    int m_source = internalClipboard;
};

// The test tone's values; they are read from the settings when the dialog opens and stored at OK.
// A frequency or duration typed out of its range, or no number at all, is refused: OK then says so
// and the dialog stays, with the focus in that field.
class CSignalGeneratorDlg : public CModalDialog {
public:
    static constexpr const char* kTitle = "Test Tone Generator";

    CSignalGeneratorDlg() : m_settings(SignalGeneratorSettings::Load()) {}
    std::string DialogName() const override { return "SignalGenerator"; }
    std::string GetWindowText() const override { return kTitle; }
    std::vector<CDialogField> GetFormFields() const override;
    void SetFormField(const std::string& key, const std::string& value) override;
    std::string GetFocusField() const override { return m_refused; }
    void OnOK() override;

    SignalGeneratorSettings m_settings;

private:
    std::string m_refused; // the field whose last text was refused
};

// The format of a new recording, asked before anything is generated into an empty document. The
// rate box offers the usual rates and takes a rate typed in as well ("44 100" with a blank in it
// too); the rate and the bits are the leading numbers of the texts. A rate outside 101..512000 Hz
// is refused at OK and the dialog stays, with the focus in the rate box.
class CFormatDialog : public CModalDialog {
public:
    static constexpr const char* kTitle = "Sample Format Settings";

    CFormatDialog();
    std::string DialogName() const override { return "Format"; }
    std::string GetWindowText() const override { return kTitle; }
    std::vector<CDialogField> GetFormFields() const override;
    void SetFormField(const std::string& key, const std::string& value) override;
    std::string GetFocusField() const override { return m_refused ? "rate" : std::string(); }
    void OnOK() override;

    // The rate a text of the rate box stands for: its blanks and no-break spaces taken out, then
    // its leading whole number as the C library reads one (a sign allowed, saturating); 0 when the
    // text starts with no number.
    static int32_t RateOfText(const std::string& text);

    // The chosen format, complete after OK: integer PCM with block align and byte rate.
    WAVEFORMATEX m_format{};

private:
    std::string m_rateText;
    int m_resolution = 1; // index of the bit depth entry
    bool m_stereo = true;
    bool m_refused = false;
};

} // namespace tw
