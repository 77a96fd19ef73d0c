// CChildView: painting. The plot is painted off-screen on the document thread and handed to the
// presentation in one piece, so the window never shows a half-drawn frame.
#include "view/ChildView.h"

#include "audio/PlayRequest.h"

#include "display/PixelCanvas.h"
#include "platform/Settings.h"

#include <algorithm>

namespace tw {

namespace {

constexpr int kRulerHeight = 22;
constexpr int kAxisWidth = 44;
constexpr ColorRef kBlank = 0x00FFFFFF;

} // namespace

void CChildView::OnSize(int width, int height) {
    m_clientWidth = std::max(width, 0);
    m_clientHeight = std::max(height, 0);
    Invalidate();
}

void CChildView::UpdateWindow() {
    if (m_paintPending)
        Paint();
}

void CChildView::Paint() {
    m_paintPending = false;
    if (m_clientWidth <= 0 || m_clientHeight <= 0 || GetSafeHandle() == 0)
        return;
    // Read at each paint, so a change of the options shows at the next one.
    const bool showRuler = GetSettingInt("View", "Show Ruler", 1) != 0;
    const bool showAxis = GetSettingInt("View", "Show Axis", 1) != 0;
    // The picture is painted at device pixels; the ruler and the axis keep their size to the eye.
    const int axisWidth = static_cast<int>(kAxisWidth * m_pixelRatio);
    const int rulerHeight = static_cast<int>(kRulerHeight * m_pixelRatio);
    m_plot.left = showAxis ? std::min(axisWidth, m_clientWidth) : 0;
    m_plot.top = showRuler ? std::min(rulerHeight, m_clientHeight) : 0;
    m_plot.right = m_clientWidth;
    m_plot.bottom = m_clientHeight;

    // The published image owns the pixels and the painter writes straight into them: one
    // allocation per paint, and no copy.
    auto published = std::make_shared<CViewImage>();
    published->width = m_clientWidth;
    published->height = m_clientHeight;
    published->pixels.resize(static_cast<size_t>(m_clientWidth) * m_clientHeight);
    {
        CPixelCanvas canvas(published->pixels.data(), m_clientWidth, m_clientHeight, m_pixelRatio);
        CDrawContext& dc = canvas.Context();
        // With fewer than two samples there is nothing to measure or plot: the area stays blank.
        // Otherwise the plot paints its own ground, and only the ruler's and the axis's strips are
        // blanked: a full-screen picture is not filled twice.
        const bool plotted = m_media.GetLength() >= 2 && m_visualizer != nullptr;
        if (!plotted) {
            canvas.FillRect(PixelRect{0, 0, m_clientWidth, m_clientHeight}, kBlank);
        } else {
            canvas.FillRect(PixelRect{0, 0, m_clientWidth, m_plot.top}, kBlank);
            canvas.FillRect(PixelRect{0, m_plot.top, m_plot.left, m_clientHeight}, kBlank);
        }
        if (plotted) {
            const WAVEFORMATEX* format = m_media.GetFormat();
            if (showRuler) {
                m_ruler.SetRate(format != nullptr ? format->nSamplesPerSec : 1);
                m_ruler.SetView(m_viewSection.m_start, m_viewSection.m_end);
                m_ruler.Draw(dc, m_plot.left, 0, m_plot.right, m_plot.top);
            }
            if (showAxis) {
                m_axis.SetRange(static_cast<int32_t>(m_visualizer->GetAxisMinimum()),
                                static_cast<int32_t>(m_visualizer->GetAxisMaximum()));
                m_axis.SetCaption(m_visualizer->GetAxisTitle());
                m_axis.Draw(dc, 0, m_plot.top, m_plot.left, m_plot.bottom);
            }
            m_visualizer->Draw(dc, m_plot, m_viewSection, m_selection, m_viewSection.m_start, m_focused);
        }
    }
    Presentation().ViewImage(GetSafeHandle(), std::move(published));
    if (IsPlaying()) {
        // The picture comes without the play cursor: its line is drawn again over it, where the
        // timer left it, and whether it shows at all follows the setting as it is now.
        m_playRequest->traceDisplay = GetSettingInt("View", "Trace Playback", 1);
        if (m_playRequest->lastCursorX >= 0)
            Presentation().PlayCursor(GetSafeHandle(), m_playRequest->lastCursorX, m_plot.top, m_plot.bottom);
    }
}

} // namespace tw
