// The small dialogs of the edit commands, as the document thread sees them: what they show and
// what the person chose. The presentation gives them widgets (or a script answers them).
#pragma once

#include "dsp/SignalGeneratorSettings.h"
#include "platform/ModalDialog.h"

#include <tidework/wavefmt.h>

#include <string>
#include <vector>

namespace tw {

// Which clipboard a paste takes when both hold audio.
class CCBSourceDialog : public CModalDialog {
public:
    enum Source { internalClipboard = 0, systemClipboard = 1 };
    static constexpr const char* kInternalText = "The internal clipboard";
    static constexpr const char* kSystemText = "The system clipboard";

    std::string DialogName() const override { return "ClipboardSource"; }
    std::string GetWindowText() const override { return "Paste"; }
    std::vector<CDialogField> GetFormFields() const override {
        return {{"source",
                 "Paste from:",
                 CDialogField::Kind::Radio,
                 std::to_string(m_source),
                 {kInternalText, kSystemText},
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

// The format of a new recording, asked before anything is generated into an empty document.
class CFormatDialog : public CModalDialog {
public:
    CFormatDialog() {
        m_format.wFormatTag = 1;
        m_format.nChannels = 2;
        m_format.nSamplesPerSec = 44100;
        m_format.wBitsPerSample = 16;
        Complete();
    }
    std::string DialogName() const override { return "Format"; }
    std::string GetWindowText() const override { return "Audio Format"; }
    std::vector<CDialogField> GetFormFields() const override {
        static const uint16_t kBits[] = {8, 16, 24, 32};
        int bits = 1;
        for (int i = 0; i < 4; ++i)
            if (kBits[i] == m_format.wBitsPerSample)
                bits = i;
        return {{"rate",
                 "Sample rate (Hz):",
                 CDialogField::Kind::Text,
                 std::to_string(m_format.nSamplesPerSec),
                 {},
                 true},
                {"bits",
                 "Resolution:",
                 CDialogField::Kind::Choice,
                 std::to_string(bits),
                 {"8 bit", "16 bit", "24 bit", "32 bit"},
                 true},
                {"channels",
                 "Channels:",
                 CDialogField::Kind::Choice,
                 std::to_string(m_format.nChannels - 1),
                 {"Mono", "Stereo", "3 channels", "4 channels", "5 channels", "5.1 (6 channels)",
                  "7 channels", "7.1 (8 channels)"},
                 true}};
    }
    void SetFormField(const std::string& key, const std::string& value) override {
        if (key == "rate") {
            // Digits only: a person may type "44 100" with a space (or a non-breaking one).
            std::string digits;
            for (char c : value)
                if (c >= '0' && c <= '9')
                    digits += c;
            const long rate = digits.empty() || digits.size() > 7 ? 0 : std::stol(digits);
            if (rate > 100 && rate <= 512000)
                m_format.nSamplesPerSec = static_cast<uint32_t>(rate);
        } else if (key == "bits" && value.size() == 1 && value[0] >= '0' && value[0] <= '3') {
            m_format.wBitsPerSample = static_cast<uint16_t>(8 * (value[0] - '0' + 1));
        } else if (key == "channels" && value.size() == 1 && value[0] >= '0' && value[0] <= '7') {
            m_format.nChannels = static_cast<uint16_t>(value[0] - '0' + 1);
        }
        Complete();
    }
    void OnOK() override {
        Complete();
        CModalDialog::OnOK();
    }
    // Block align and byte rate follow channels, bits and rate.
    void Complete() {
        m_format.nBlockAlign = static_cast<uint16_t>(m_format.nChannels * m_format.wBitsPerSample / 8);
        m_format.nAvgBytesPerSec = m_format.nSamplesPerSec * m_format.nBlockAlign;
        m_format.cbSize = 0;
    }
    WAVEFORMATEX m_format{};
};

} // namespace tw
