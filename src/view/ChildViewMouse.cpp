// CChildView: the mouse over the plot: selections, effect tags, splice and cross-fade grips, track
// splits, the wheel and the cursor shapes.
#include "view/ChildView.h"

#include "audio/PlayRequest.h"
#include "core/LabelList.h"
#include "core/MediaEvent.h"
#include "dsp/TransformPlugin.h"
#include "platform/Messages.h"
#include "platform/StringTable.h"
#include "view/ApplyDialog.h"

#include <algorithm>
#include <cstdlib>

namespace tw {

namespace {

constexpr uint32_t kTrackSplitMoved = 201;
constexpr uint32_t kCrossFadeTime = 216;
constexpr uint32_t kSpliceMove = 224;
// A click that wobbles by less than this leaves a cursor, not a selection.
constexpr int kSnapPixels = 5;
// A split dragged this far off the plot is gone.
constexpr int kSplitTearOff = 10;

} // namespace

void CChildView::OnLButtonDown(uintptr_t flags, int x, int y) {
    (void)flags;
    if (m_visualizer == nullptr)
        return;
    if (CTransformBase* tag = m_visualizer->HitTestTransform(x, y)) {
        m_selection = m_media.SectionOfTransform(tag);
        Invalidate();
        return;
    }
    m_capture = true;
    m_dragEvent = nullptr;
    m_dragSplit = nullptr;
    int64_t found = 0;
    if (!IsPlaying()) {
        int grip = 0;
        m_dragEvent = m_visualizer->HitTestEvent(x, y, &found, &grip, m_plot, m_viewSection);
        m_dragIsCrossFade = grip == 1 ? 1 : 0;
        const int32_t label = m_visualizer->HitTestLabel(x, y, m_plot, m_viewSection);
        m_dragSplit = label >= 0 ? m_media.GetLabels().GetAt(label) : nullptr;
    }
    // A click on the ruler moves a running (not looped) playback there.
    if (IsPlaying() && y < m_plot.top && !m_playRequest->loop) {
        const int64_t p = SampleFromX(x);
        if (p < m_media.GetLength()) {
            StopPlayback();
            StartPlayback(CSection(p, m_media.GetLength()), nullptr, false);
            if (IsPlaying())
                SetPlayButtons(false, true);
        }
        return;
    }
    if (m_dragEvent != nullptr) {
        PushUndo(LoadString(m_dragIsCrossFade != 0 ? kCrossFadeTime : kSpliceMove), nullptr);
        m_dragReference = found;
        m_dragSplit = nullptr;
        return;
    }
    if (m_dragSplit != nullptr) {
        PushUndo(LoadString(kTrackSplitMoved), nullptr);
        m_dragEvent = nullptr;
        return;
    }
    m_dragReference = x;
    m_focused = true;
    m_selection.m_start = m_selection.m_end = SampleFromX(x);
    m_selecting = 1;
    Invalidate();
    ShowSpectrumAt(m_selection.m_start);
    SetCursor(CursorShape::SizeWE);
}

void CChildView::OnMouseMove(uintptr_t flags, int x, int y) {
    const int64_t length = m_viewSection.SectionLength();
    const int64_t mediaLength = m_media.GetLength();
    const bool buttonHeld = (flags & (MK_LBUTTON | MK_RBUTTON)) != 0;
    if (buttonHeld && (x > m_plot.right || x < m_plot.left)) {
        // Beyond the plot the view moves by half its length per mouse move; no timer repeats it.
        int64_t move = 0;
        if (x > m_plot.right && m_viewSection.m_end < mediaLength + length)
            move = length / 2;
        else if (x < m_plot.left && m_viewSection.m_start > 0)
            move = -(length / 2);
        // The move ends here even when the view is already at its end: a drag held beyond the
        // plot neither selects nor drags what lies under the plot's edge.
        m_viewSection.m_start += move;
        m_viewSection.m_end += move;
        m_viewSection.SlideInto(CSection(0, mediaLength + length));
        UpdateScrollBar();
        Invalidate();
        return;
    }
    if (m_dragEvent != nullptr && m_dragIsCrossFade == 0) {
        const int64_t moved = m_media.MoveSplice(m_dragEvent, SampleFromX(x) - m_dragReference);
        m_dragReference += moved;
        Invalidate();
        return;
    }
    if (m_dragEvent != nullptr) {
        const std::vector<CMediaEvent*>& events = m_media.GetEvents();
        auto it = std::find(events.begin(), events.end(), m_dragEvent);
        if (it != events.end() && std::next(it) != events.end()) {
            const int64_t following = (*std::next(it))->GetTimelineLength();
            const int64_t n = std::min(std::max<int64_t>(SampleFromX(x) - m_dragReference, 0), following);
            m_dragEvent->SetCrossFade(n);
        }
        Invalidate();
        return;
    }
    if (m_dragSplit != nullptr) {
        auto* moved = new CLabelData(SampleFromX(x), m_dragSplit->m_type, m_dragSplit->m_firstText,
                                     m_dragSplit->m_secondText);
        m_media.GetLabels().Remove(m_dragSplit);
        delete m_dragSplit;
        m_dragSplit = nullptr;
        if (y < m_plot.top - kSplitTearOff || y > m_plot.bottom + kSplitTearOff) {
            // Torn off the plot: the split is deleted; the drag's undo stage brings it back.
            delete moved;
        } else {
            m_media.GetLabels().Insert(moved);
            m_dragSplit = moved;
        }
        Invalidate();
        return;
    }
    if ((flags & MK_LBUTTON) != 0 && !IsPlaying() && m_visualizer != nullptr) {
        const WAVEFORMATEX* format = m_media.GetFormat();
        const int channels = format != nullptr && format->nChannels > 0 ? format->nChannels : 1;
        const int band = (m_plot.bottom - m_plot.top) / channels;
        const int clampedY = std::clamp(y, m_plot.top, std::max(m_plot.top, m_plot.bottom - 1));
        const double fraction = band > 1 ? 1.0 - static_cast<double>((clampedY - m_plot.top) % band) /
                                                     static_cast<double>(band - 1)
                                         : 0.0;
        SetStatus(m_visualizer->GetStatusText(SampleFromX(x), fraction));
    }
    if ((flags & MK_RBUTTON) != 0) {
        m_selection.m_end = SampleFromX(x);
        m_selection.Normalize();
        m_selection.m_start = std::clamp<int64_t>(m_selection.m_start, 0, mediaLength);
        m_selection.m_end = std::clamp<int64_t>(m_selection.m_end, 0, mediaLength);
        Invalidate();
        RunIdle();
        return;
    }
    if (m_selecting != 0) {
        const int startX = XFromSample(m_selection.m_start);
        if (std::abs(startX - x) < kSnapPixels)
            x = startX;
        m_selection.m_end = SampleFromX(x);
        Invalidate();
        RunIdle();
        return;
    }
    SetCursor(CursorAt(x, y));
}

void CChildView::OnLButtonUp(uintptr_t flags, int x, int y) {
    (void)flags;
    (void)x;
    (void)y;
    m_capture = false;
    if (m_dragEvent != nullptr || m_dragSplit != nullptr) {
        m_dragEvent = nullptr;
        m_dragSplit = nullptr;
        DocumentChanged();
        return;
    }
    SetCursor(CursorShape::Arrow);
    m_selecting = 0;
    m_selection.Normalize();
    RestartLoopOnSelection();
    SetStatus(kIdleStatus);
}

void CChildView::RestartLoopOnSelection() {
    // A looped playback follows the selection a person draws while it plays.
    if (!IsPlaying() || !m_playRequest->loop || m_selection.SectionLength() <= 0)
        return;
    StopPlayback();
    StartPlayback(m_selection, nullptr, true);
    if (IsPlaying())
        SetPlayButtons(false, true);
}

void CChildView::OnRButtonDown(uintptr_t flags, int x, int y) {
    (void)flags;
    m_contextEffect = m_visualizer != nullptr
                          ? dynamic_cast<CTransformPlugin*>(m_visualizer->HitTestTransform(x, y))
                          : nullptr;
    if (m_contextEffect != nullptr) {
        OnEffectContextMenu(x, y);
        return;
    }
    // A right click extends the selection from its start.
    m_selection.m_end = SampleFromX(x);
    m_selection.Normalize();
    m_selection.m_start = std::clamp<int64_t>(m_selection.m_start, 0, m_media.GetLength());
    m_selection.m_end = std::clamp<int64_t>(m_selection.m_end, 0, m_media.GetLength());
    Invalidate();
}

void CChildView::OnRButtonUp(uintptr_t flags, int x, int y) {
    (void)flags;
    (void)x;
    (void)y;
    RestartLoopOnSelection();
}

void CChildView::OnLButtonDblClk(uintptr_t flags, int x, int y) {
    (void)flags;
    if (m_media.IsEmpty()) {
        OnCmdMsg(kOpen);
        return;
    }
    auto* tag = m_visualizer != nullptr
                    ? dynamic_cast<CTransformPlugin*>(m_visualizer->HitTestTransform(x, y))
                    : nullptr;
    if (tag == nullptr || !tag->GetHasPages())
        return;
    CApplyDialog dialog(this, tag, CApplyDialog::reconfigureMode);
    if (dialog.DoModal(GetSafeHandle()) == IDOK)
        DocumentChanged();
}

void CChildView::OnMouseWheel(int delta) {
    // The direction counts, not the distance.
    if (delta >= 1)
        ZoomIn();
    else
        ZoomOut();
}

CursorShape CChildView::CursorAt(int x, int y) const {
    if (m_dragEvent != nullptr)
        return m_dragIsCrossFade != 0 ? CursorShape::CrossFade : CursorShape::SizeWE;
    if (m_selecting != 0 || m_dragSplit != nullptr)
        return CursorShape::SizeWE;
    if (m_visualizer == nullptr)
        return CursorShape::Arrow;
    if (!IsPlaying()) {
        int64_t position = 0;
        int grip = 0;
        if (m_visualizer->HitTestEvent(x, y, &position, &grip, m_plot, m_viewSection) != nullptr)
            return grip == 1 ? CursorShape::CrossFade : CursorShape::SizeWE;
    }
    if (m_visualizer->HitTestTransform(x, y) != nullptr)
        return CursorShape::EffectTag;
    if (m_visualizer->HitTestLabel(x, y, m_plot, m_viewSection) >= 0)
        return CursorShape::SizeWE;
    return CursorShape::Arrow;
}

} // namespace tw
