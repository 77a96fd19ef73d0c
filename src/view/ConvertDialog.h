// The Convert dialog: the rate, bit depth and channel count a document is converted to, the
// quality of the anti-aliasing filter, and how surround audio is folded down to stereo. It starts
// from the last conversion's choices (section FormatConversion) and stores them again on OK.
//
// The rate is typed or taken from the box; only its leading number counts, blanks and no-break
// spaces aside, and it must lie in 101..512000 Hz, or OK is refused with the focus on it. The
// down-mix box counts only for a document of more than two channels converted to stereo.
#pragma once

#include "platform/ModalDialog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CConvertDialog : public CModalDialog {
public:
    static constexpr const char* kTitle = "Convert Sample Format";

    // `channels`: the document's channel count.
    explicit CConvertDialog(int channels);

    std::string DialogName() const override { return "Convert"; }
    std::string GetWindowText() const override { return kTitle; }
    std::vector<CDialogField> GetFormFields() const override;
    void SetFormField(const std::string& key, const std::string& value) override;
    std::string GetFocusField() const override { return m_refused ? "rate" : std::string(); }
    void OnOK() override;

    // What was chosen, complete after OK.
    int32_t GetRate() const { return m_rate; }
    int GetBits() const;
    int GetChannels() const;
    // The filter's half width of the chosen quality: 10, 30 or 50.
    int GetHalfWidth() const;
    // The half width of the quality the last conversion stored (FormatConversion / Filter), which a
    // save that converts on its way takes too.
    static int StoredHalfWidth();
    int GetDownMixMode() const { return DownMixAllowed() ? m_downMix : 0; }
    bool DownMixAllowed() const;

private:
    int m_documentChannels;
    int m_filter;
    int m_channelCode;
    int m_resolution; // index of the bit depth entry
    int m_downMix;
    std::string m_rateText;
    int32_t m_rate = 0;
    bool m_refused = false;
};

} // namespace tw
