// CChildView: pixels and samples, zoom, the scroll bar and the kind of display.
#include "view/ChildView.h"

#include "display/PCMVisualizer.h"
#include "display/Visualizers.h"
#include "platform/Messages.h"
#include "view/DefineMarkersDlg.h"
#include "view/PropertiesDialog.h"

#include <algorithm>
#include <cstdlib>

namespace tw {

int64_t CChildView::SampleFromX(int x) const {
    const int64_t w = m_plot.right - m_plot.left;
    const int64_t d = std::max<int64_t>(w, 1);
    const int64_t length = m_viewSection.SectionLength();
    const int64_t sample = ((x - m_plot.left) * (length - 1) + w / 2) / d + m_viewSection.m_start;
    return std::clamp<int64_t>(sample, 0, m_media.GetLength());
}

int CChildView::XFromSample(int64_t sample) const {
    const int64_t length = m_viewSection.SectionLength();
    if (length < 2)
        return 0;
    const int64_t w = m_plot.right - m_plot.left;
    const int64_t x = m_plot.left + ((sample - m_viewSection.m_start) * w + length / 2) / (length - 1);
    return static_cast<int>(std::clamp<int64_t>(x, m_plot.left, m_plot.right));
}

int64_t CChildView::ZoomLimit() const {
    return std::min<int64_t>(2 * m_media.GetLength(), 0x7FFFFFFF);
}

void CChildView::ViewAll() {
    m_viewSection = CSection(0, m_media.GetLength());
    UpdateScrollBar();
    Invalidate();
}

void CChildView::ZoomIn() {
    const int64_t length = m_viewSection.SectionLength();
    if (length < 100)
        return;
    // The selection's start stays near the left edge.
    m_viewSection = CSection(m_selection.m_start - length / 32, m_selection.m_start + length / 2);
    m_viewSection.SlideInto(CSection(0, ZoomLimit()));
    m_viewSection.Normalize();
    UpdateScrollBar();
    Invalidate();
}

void CChildView::ZoomOut() {
    const int64_t length = m_viewSection.SectionLength();
    // Grows mostly to the right, on purpose.
    m_viewSection = CSection(m_viewSection.m_start - length / 16 - 1, m_viewSection.m_end + length + 1);
    m_viewSection.SlideInto(CSection(0, ZoomLimit()));
    m_viewSection.Normalize();
    UpdateScrollBar();
    Invalidate();
}

void CChildView::ZoomSelection() {
    m_viewSection = m_selection;
    if (m_viewSection.SectionLength() < 50)
        m_viewSection.m_end = m_selection.m_end + 50;
    UpdateScrollBar();
    Invalidate();
}

void CChildView::SelectAll() {
    m_selection = CSection(0, m_media.GetLength());
    Invalidate();
}

void CChildView::UpdateScrollBar() {
    m_viewSection.Normalize();
    if (m_viewSection.SectionLength() < 2)
        m_viewSection.m_end = m_viewSection.m_start + 2;
    const int64_t mediaLength = m_media.GetLength();
    int64_t length = m_viewSection.SectionLength();
    if (mediaLength < length)
        m_viewSection = CSection(0, length);
    // The view may show up to one view length of empty space behind the end of the media.
    m_viewSection.SlideInto(CSection(0, mediaLength + length));
    length = m_viewSection.SectionLength();
    CScrollBarState bar;
    bar.minimum = 0;
    bar.maximum = mediaLength + length;
    bar.page = length;
    bar.position = static_cast<int32_t>(m_viewSection.m_start);
    bar.visible = true;
    if (GetSafeHandle() != 0)
        Presentation().ScrollBar(GetSafeHandle(), bar);
    RunIdle();
}

void CChildView::OnHScroll(int code, int64_t trackPosition) {
    const int64_t length = m_viewSection.SectionLength();
    const int64_t mediaLength = m_media.GetLength();
    int64_t move = 0;
    switch (code) {
    case SB_LINELEFT:
        move = -std::max<int64_t>(length / 80, 1);
        break;
    case SB_LINERIGHT:
        move = std::max<int64_t>(length / 80, 1);
        break;
    case SB_PAGELEFT:
        move = -length;
        break;
    case SB_PAGERIGHT:
        move = length;
        break;
    case SB_THUMBPOSITION:
    case SB_THUMBTRACK:
        m_viewSection = CSection(trackPosition, trackPosition + length);
        break;
    case SB_TOP:
        m_viewSection = CSection(0, length);
        break;
    case SB_BOTTOM:
        m_viewSection = CSection(mediaLength, mediaLength + length);
        break;
    default:
        break;
    }
    m_viewSection.m_start += move;
    m_viewSection.m_end += move;
    m_viewSection.SlideInto(CSection(0, mediaLength + length));
    Invalidate();
    UpdateScrollBar();
}

void CChildView::EnsureVisible(int64_t sample) {
    if (m_viewSection.Contains(sample))
        return;
    const int64_t length = m_viewSection.SectionLength();
    if (std::llabs(m_viewSection.m_start - sample) < std::llabs(m_viewSection.m_end - sample))
        m_viewSection = CSection(sample, sample + length);
    else
        m_viewSection = CSection(sample - length, sample);
}

void CChildView::ApplyVerticalZoom() {
    if (m_visualizer == nullptr)
        return;
    m_visualizer->SetGain(static_cast<float>(m_verticalZoomPercent / 100.0));
    Invalidate();
}

void CChildView::SetVisualizerType(int type) {
    delete m_visualizer;
    const bool merge = m_showChannelSum != 0;
    m_visualizer = NewVisualizer(type, &m_media, merge);
    ApplyVerticalZoom();
    Invalidate();
}

void CChildView::AddViewCommands(CCommandTable& table) {
    table.AddCommand(kViewAll, [this](uint32_t) { ViewAll(); });
    table.AddUpdate(kViewAll,
                    [this](CCmdUI& ui) { ui.Enable(m_viewSection.SectionLength() != m_media.GetLength()); });
    table.AddCommand(kZoomIn, [this](uint32_t) { ZoomIn(); });
    table.AddUpdate(kZoomIn, [this](CCmdUI& ui) { ui.Enable(m_viewSection.SectionLength() >= 100); });
    table.AddCommand(kZoomOut, [this](uint32_t) { ZoomOut(); });
    table.AddUpdate(kZoomOut, [this](CCmdUI& ui) { ui.Enable(m_viewSection.SectionLength() < ZoomLimit()); });
    table.AddCommand(kZoomSelection, [this](uint32_t) { ZoomSelection(); });
    table.AddUpdate(kZoomSelection, [this](CCmdUI& ui) { ui.Enable(HasSel()); });
    table.AddCommand(kSelectAll, [this](uint32_t) { SelectAll(); });
    table.AddUpdate(kSelectAll, [this](CCmdUI& ui) {
        ui.Enable(HasAudio() && m_selection.SectionLength() < m_media.GetLength());
    });
    const struct {
        uint32_t id;
        int type;
    } displays[] = {{kWaveDisplay, 1}, {kSpectrogramDisplay, 2}, {kWaveletDisplay, 3}};
    for (const auto& display : displays) {
        const int type = display.type;
        table.AddCommand(display.id, [this, type](uint32_t) { SetVisualizerType(type); });
        table.AddUpdate(display.id, [this, type](CCmdUI& ui) {
            ui.SetRadio(m_visualizer != nullptr && m_visualizer->GetType() == type);
        });
    }
    table.AddCommand(kShowChannelSum, [this](uint32_t) {
        m_showChannelSum = m_showChannelSum != 0 ? 0 : 1;
        if (m_visualizer != nullptr)
            m_visualizer->SetMergeChannels(m_showChannelSum != 0);
        Invalidate();
    });
    table.AddUpdate(kShowChannelSum, [this](CCmdUI& ui) { ui.SetCheck(m_showChannelSum != 0 ? 1 : 0); });
    table.AddCommand(kDefineMarkers, [this](uint32_t) {
        const WAVEFORMATEX* format = m_media.GetFormat();
        CDefineMarkersDlg dialog(format != nullptr ? format->nSamplesPerSec : 0, m_selection);
        if (dialog.DoModal(GetSafeHandle()) != IDOK)
            return;
        m_selection = dialog.GetSelection(m_media.GetLength());
        Invalidate();
    });
    table.AddUpdate(kDefineMarkers, [this](CCmdUI& ui) { ui.Enable(HasAudio()); });
    table.AddCommand(kStatistics, [this](uint32_t) {
        // The tempo estimate reads audio before the dialog can show anything.
        SetCursor(CursorShape::Wait);
        CPropertiesDialog dialog(m_media, m_selection);
        SetCursor(CursorShape::Arrow);
        dialog.DoModal(GetSafeHandle());
    });
    table.AddUpdate(kStatistics, [](CCmdUI& ui) { ui.Enable(); });
}

} // namespace tw
