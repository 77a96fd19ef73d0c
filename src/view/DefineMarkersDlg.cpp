#include "view/DefineMarkersDlg.h"

namespace tw {

CDefineMarkersDlg::CDefineMarkersDlg(uint32_t rate, const CSection& selection) : m_rate(rate) {
    const MarkerTime start = FramesToMarkerTime(selection.m_start, rate);
    const MarkerTime end = FramesToMarkerTime(selection.m_end, rate);
    m_values = {start.hours, start.minutes, start.seconds, start.milliseconds,
                end.hours,   end.minutes,   end.seconds,   end.milliseconds};
    for (int32_t i = 0; i < markerFieldCount; ++i)
        m_texts[i] = std::to_string(m_values[i]);
}

MarkerField CDefineMarkersDlg::EditField(MarkerField field, const std::string& text) {
    if (field < 0 || field >= markerFieldCount)
        return markerFieldCount;
    m_texts[field] = text;
    m_focus = ValidateMarkerFields(m_values, m_texts);
    return m_focus;
}

namespace {

constexpr const char* kKeys[markerFieldCount] = {"startHours",        "startMinutes",   "startSeconds",
                                                 "startMilliseconds", "endHours",       "endMinutes",
                                                 "endSeconds",        "endMilliseconds"};
constexpr const char* kUnits[4] = {"h", "min", "s", "ms"};

} // namespace

std::vector<CDialogField> CDefineMarkersDlg::GetFormFields() const {
    std::vector<CDialogField> fields;
    for (int32_t i = 0; i < markerFieldCount; ++i) {
        CDialogField field{kKeys[i], "", CDialogField::Kind::Number, m_texts[i], {}, true};
        field.minimum = 0;
        field.maximum = MarkerFieldMaximum(static_cast<MarkerField>(i));
        field.unit = kUnits[i % 4];
        field.row = i < endHours ? "Start:" : "End:";
        // A field's rule reads the others, and a refusal rewrites them all.
        field.live = true;
        fields.push_back(field);
    }
    return fields;
}

void CDefineMarkersDlg::SetFormField(const std::string& key, const std::string& value) {
    for (int32_t i = 0; i < markerFieldCount; ++i)
        if (key == kKeys[i])
            EditField(static_cast<MarkerField>(i), value);
}

std::string CDefineMarkersDlg::GetFocusField() const {
    return m_focus < markerFieldCount ? kKeys[m_focus] : std::string();
}

void CDefineMarkersDlg::OnOK() {
    if (m_focus < markerFieldCount)
        return;
    CModalDialog::OnOK();
}

CSection CDefineMarkersDlg::GetSelection(int64_t length) const {
    const MarkerTime start{m_values[startHours], m_values[startMinutes], m_values[startSeconds],
                           m_values[startMilliseconds]};
    const MarkerTime end{m_values[endHours], m_values[endMinutes], m_values[endSeconds],
                         m_values[endMilliseconds]};
    return MarkerTimesToSelection(start, end, m_rate, length);
}

} // namespace tw
