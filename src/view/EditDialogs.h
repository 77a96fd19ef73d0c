// The small dialogs of the edit commands, as the document thread sees them: what they show and
// what the person chose. The presentation gives them widgets (or a script answers them).
#pragma once

#include "dsp/SignalGeneratorSettings.h"
#include "platform/ModalDialog.h"

#include <tidework/wavefmt.h>

namespace tw {

// Which clipboard a paste takes when both hold audio.
class CCBSourceDialog : public CModalDialog {
public:
    enum Source { internalClipboard = 0, systemClipboard = 1 };
    static constexpr const char* kInternalText = "The internal clipboard";
    static constexpr const char* kSystemText = "The system clipboard";

    std::string DialogName() const override { return "ClipboardSource"; }
    int m_source = internalClipboard;
};

// The test tone's values; they are read from the settings when the dialog opens and stored at OK.
class CSignalGeneratorDlg : public CModalDialog {
public:
    CSignalGeneratorDlg() : m_settings(SignalGeneratorSettings::Load()) {}
    std::string DialogName() const override { return "SignalGenerator"; }
    void OnOK() override {
        m_settings.Save();
        CModalDialog::OnOK();
    }
    SignalGeneratorSettings m_settings;
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
