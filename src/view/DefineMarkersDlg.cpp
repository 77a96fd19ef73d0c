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
    return ValidateMarkerFields(m_values, m_texts);
}

CSection CDefineMarkersDlg::GetSelection(int64_t length) const {
    const MarkerTime start{m_values[startHours], m_values[startMinutes], m_values[startSeconds],
                           m_values[startMilliseconds]};
    const MarkerTime end{m_values[endHours], m_values[endMinutes], m_values[endSeconds],
                         m_values[endMilliseconds]};
    return MarkerTimesToSelection(start, end, m_rate, length);
}

} // namespace tw
