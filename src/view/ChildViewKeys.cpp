// CChildView: the keyboard: arrow steps in pixels' worth of samples, Shift selections, Home and
// End, and Space for the transport.
#include "view/ChildView.h"

#include "audio/PlayRequest.h"
#include "platform/Messages.h"

#include <algorithm>

namespace tw {

void CChildView::OnKeyDown(uint32_t key, intptr_t modifiers) {
    const bool shift = (modifiers & kKeyShift) != 0;
    const bool control = (modifiers & kKeyControl) != 0;
    const int64_t length = m_viewSection.SectionLength();
    const int64_t width = std::max(m_plot.right - m_plot.left, 1);
    // Measured in the view, not in the selection: one step is about one pixel (twenty with Ctrl).
    const int64_t step = std::max<int64_t>(control ? 20 * length / width : length / width, 1);
    const int64_t mediaLength = m_media.GetLength();

    switch (key) {
    case VK_TAB:
        // The frame's focus ring starts at the level meters.
        CWindow::PostMessage(m_frame, WM_FOCUSSTEP, 1);
        break;
    case VK_SHIFT:
        m_keyAnchor = m_keyActive = m_selection.m_start;
        break;
    case VK_SPACE:
        if (IsPlaying())
            StopPlayback();
        else
            OnCmdMsg(shift ? kPlayAll : kPlaySection);
        break;
    // While playing, Home and End take the play cursor's place into the selection, so a person
    // can mark a passage by ear.
    case VK_END:
        if (IsPlaying())
            m_selection.m_end = SampleFromX(m_playRequest->lastCursorX);
        else
            m_viewSection =
                CSection(m_selection.m_end - length / 20, m_selection.m_end - length / 20 + length);
        break;
    case VK_HOME:
        if (IsPlaying())
            m_selection.m_start = SampleFromX(m_playRequest->lastCursorX);
        else
            m_viewSection =
                CSection(m_selection.m_start - length / 20, m_selection.m_start - length / 20 + length);
        break;
    case VK_LEFT:
    case VK_RIGHT: {
        const int64_t move = key == VK_LEFT ? -step : step;
        if (shift) {
            m_keyActive = std::clamp<int64_t>(m_keyActive + move, 0, mediaLength);
            m_selection = CSection(std::min(m_keyAnchor, m_keyActive), std::max(m_keyAnchor, m_keyActive));
        } else {
            m_selection.m_start += move;
            m_selection.m_end = m_selection.m_start;
        }
        break;
    }
    default:
        break;
    }
    // Every key, listed or not, leaves the selection in sight and in range.
    EnsureVisible(m_selection.m_end);
    m_selection.Normalize();
    m_viewSection.Normalize();
    m_selection.m_start = std::clamp<int64_t>(m_selection.m_start, 0, mediaLength);
    m_selection.m_end = std::clamp<int64_t>(m_selection.m_end, 0, mediaLength);
    ShowSpectrumAt(m_selection.m_start);
    UpdateScrollBar();
    Invalidate();
}

} // namespace tw
