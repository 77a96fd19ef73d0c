// The dialog that shows and sets the selection as hours, minutes, seconds and milliseconds of its
// start and end. It keeps the eight field texts the person sees and the values last accepted; the
// presentation reports each edit through EditField and shows the texts and focus it answers.
#pragma once

#include "core/MarkerArithmetic.h"
#include "core/Section.h"
#include "platform/ModalDialog.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CDefineMarkersDlg : public CModalDialog {
public:
    // Field texts start from `selection` at `rate` frames per second.
    CDefineMarkersDlg(uint32_t rate, const CSection& selection);

    std::string DialogName() const override { return "DefineMarkers"; }
    std::string GetWindowText() const override { return "Define Markers Manually"; }
    // The eight fields, each reported at every edit ("startHours" ... "endMilliseconds"), so that
    // the window shows the texts and focus a validation answers.
    std::vector<CDialogField> GetFormFields() const override;
    void SetFormField(const std::string& key, const std::string& value) override;
    std::string GetFocusField() const override;
    // While a field holds the focus after a refused edit, OK leaves the dialog open on it.
    void OnOK() override;

    // One edit of `field`: validates all fields and answers the field that takes the focus, or
    // markerFieldCount when all are accepted. The texts written back by a validation are not edits
    // (the presentation shows them as they are), so a validation never sets off another.
    MarkerField EditField(MarkerField field, const std::string& text);
    const MarkerFieldTexts& GetTexts() const { return m_texts; }
    int32_t GetValue(MarkerField field) const { return m_values[field]; }
    uint32_t GetRate() const { return m_rate; }
    // The selection the accepted values stand for in a document of `length` frames: normalised
    // and slid into it.
    CSection GetSelection(int64_t length) const;

private:
    uint32_t m_rate;
    MarkerField m_focus = markerFieldCount;
    std::array<int32_t, markerFieldCount> m_values{};
    MarkerFieldTexts m_texts;
};

} // namespace tw
