#include "display/Visualizer.h"

#include "core/EditedMedia.h"
#include "core/LabelList.h"
#include "core/MediaEvent.h"
#include "core/Transform.h"
#include "display/Appearance.h"
#include "platform/Settings.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace tw {

namespace {

constexpr ColorRef kWhite = 0xFFFFFF;
constexpr ColorRef kBlack = 0x000000;
constexpr ColorRef kLabelInk = 0xC0C0C0;
constexpr ColorRef kMagenta = 0xFF00FF;
constexpr int kMarkWidth = 15; // the cross-fade mark is never narrower than its bitmap
constexpr int kMarkHeight = 15;
constexpr int kGripReach = 8; // how far either side of a boundary a grip answers the mouse
constexpr int kCutGripHeight = 12;
constexpr int kBarLead = 5;   // a transform bar starts this far left of its first frame
constexpr int kBarMargin = 5; // bar texts stop this far before the right edge
constexpr int kTagReach = 41; // a bar's tag answers this far below its last text row
constexpr int kLabelReach = 5;
constexpr int kLabelBoxGap = 10;

const FontSpec kUpright{13, 400, 0};

// One boundary between an event and its follower, as far as the view shows it: where the event
// ends in the document and how far its fade reaches into the follower.
struct Boundary {
    CMediaEvent* event;
    CMediaEvent* follower;
    int64_t end;
    int64_t fade;
};

// Walks the boundaries whose event begins at or before the view's end and whose fade reaches the
// view's start. `visit` returns false to stop the walk.
template <class Visit> void ForEachBoundary(const CEditedMedia& media, const CSection& view, Visit visit) {
    const std::vector<CMediaEvent*>& events = media.GetEvents();
    int64_t position = 0;
    for (size_t i = 0; i < events.size(); ++i) {
        CMediaEvent* event = events[i];
        const int64_t start = position;
        position += event->GetTimelineSection().SectionLength();
        if (start > view.m_end)
            break;
        if (i + 1 >= events.size())
            break;
        const int64_t fade = event->GetCrossFadeOut();
        if (position + fade < view.m_start)
            continue;
        if (!visit(Boundary{event, events[i + 1], position, fade}))
            break;
    }
}

// Left and right of the cross-fade mark over [xStart, xEnd]: the fade itself, or the bitmap's
// width centred on it when the fade is narrower.
void MarkSpan(int xStart, int xEnd, int* xa, int* xb) {
    if (xEnd + 1 - xStart < kMarkWidth) {
        *xa = (xEnd - kMarkWidth + xStart) / 2 + 1;
        *xb = (xStart + kMarkWidth + xEnd) / 2 + 1;
    } else {
        *xa = xStart;
        *xb = xEnd + 1;
    }
}

bool SameChain(const CTransformChain& a, const CTransformChain& b) {
    if (a.GetCount() != b.GetCount())
        return false;
    for (int32_t i = 0; i < a.GetCount(); ++i) {
        if (a.GetAt(i) != b.GetAt(i))
            return false;
    }
    return true;
}

// Splits `text` into the lines that fit `width` pixels, longest prefix first. A line keeps at
// least one character, so that a bar too narrow for any still shows where its text begins.
std::vector<QString> FitLines(const CDrawContext& dc, const QString& text, int width) {
    std::vector<QString> lines;
    QString rest = text;
    while (!rest.isEmpty()) {
        int lo = 1, hi = static_cast<int>(rest.size());
        if (dc.TextExtent(rest, kUpright).width() <= width) {
            lo = hi;
        } else {
            // Largest prefix that fits: widths grow with the prefix.
            while (lo < hi) {
                const int mid = (lo + hi + 1) / 2;
                if (dc.TextExtent(rest.left(mid), kUpright).width() <= width)
                    lo = mid;
                else
                    hi = mid - 1;
            }
            if (dc.TextExtent(rest.left(lo), kUpright).width() > width && !lines.empty())
                break;
        }
        lines.push_back(rest.left(lo));
        rest = rest.mid(lo);
    }
    return lines;
}

} // namespace

CVisualizer::CVisualizer(CEditedMedia* media, bool mergeChannels) : m_media(media), m_merge(mergeChannels) {
    CVisualizer::Refresh();
}

CVisualizer::~CVisualizer() = default;

int64_t CVisualizer::GetMinimumLength() {
    return 2;
}

void CVisualizer::Refresh() {
    const WAVEFORMATEX* format = m_media != nullptr ? m_media->GetFormat() : nullptr;
    if (format != nullptr)
        std::memcpy(&m_format, format, sizeof(WAVEFORMATEX));
    else
        m_format = WAVEFORMATEX{};
    m_appearance = ReadAppearance();
    m_highContrast = ReadHighContrast();
}

int32_t CVisualizer::ReadAppearance() {
    return CurrentAppearance();
}

bool CVisualizer::ReadHighContrast() {
    return GetSettingInt("View", "HighContrast", 0) != 0;
}

void CVisualizer::SetMergeChannels(bool merge) {
    m_merge = merge;
}

int CVisualizer::PixelOf(int64_t position, const PixelRect& rect, const CSection& view) {
    const int64_t length = view.SectionLength();
    if (length == 0)
        return rect.left;
    const int64_t x = rect.left + (position - view.m_start) * rect.Width() / length;
    // Far off-screen positions stay far off-screen without wrapping around.
    return static_cast<int>(std::clamp<int64_t>(x, INT_MIN / 4, INT_MAX / 4));
}

ColorRef CVisualizer::OverlayTextColour() const {
    return m_appearance != 0 ? SystemColor(8) : kWhite;
}

ColorRef CVisualizer::OverlayBackColour() const {
    return m_appearance != 0 ? SystemColor(5) : kBlack;
}

void CVisualizer::DrawOverlays(CDrawContext& dc, const PixelRect& rect, const CSection& view) {
    m_hitAreas.clear();
    if (m_media == nullptr)
        return;
    const ColorRef ink = OverlayTextColour();
    const ColorRef paper = OverlayBackColour();

    if (m_overlays & (kOverlayTransformBars | kOverlayCrossFades))
        DrawBoundaries(dc, rect, view, ink, paper);
    if (m_overlays & kOverlayTransformBars)
        DrawTransformBars(dc, rect, view, ink, paper);
    if (m_overlays & kOverlayLabels)
        DrawLabels(dc, rect, view, ink, paper);
}

void CVisualizer::DrawBoundaries(CDrawContext& dc, const PixelRect& rect, const CSection& view, ColorRef ink,
                                 ColorRef paper) {
    ForEachBoundary(*m_media, view, [&](const Boundary& b) {
        const int xStart = PixelOf(b.end, rect, view);
        const int xEnd = PixelOf(b.end + b.fade, rect, view);
        if (m_overlays & kOverlayCrossFades) {
            int xa = 0, xb = 0;
            MarkSpan(xStart, xEnd, &xa, &xb);
            dc.StretchInvert(CrossFadeMark(), PixelRect{xa, rect.top - 1 - kMarkHeight, xb, rect.top - 1});
        }
        // A cut made with splice marking flags the event behind it; its boundary is dashed and
        // named instead of marked.
        const bool splice = b.follower->m_spliceFlag;
        const LineStyle style = splice ? LineStyle::Dash : LineStyle::Solid;
        dc.XorLine(xEnd, rect.top, xEnd, rect.bottom, kWhite, style);
        if (xStart != xEnd)
            dc.XorLine(xStart, rect.top, xStart, rect.bottom, kWhite, style);
        if (splice)
            dc.Text(xStart + 7, rect.top + 4, QStringLiteral("Cut"), kUpright, ink, AlignLeftTop, paper);
        else
            dc.DrawBitmap(xStart - 7, rect.bottom - 11, CutMark());
        return true;
    });
}

void CVisualizer::DrawTransformBars(CDrawContext& dc, const PixelRect& rect, const CSection& view,
                                    ColorRef ink, ColorRef paper) {
    const std::vector<CMediaEvent*>& events = m_media->GetEvents();
    int rowHeight = 0; // measured at the first bar: most documents have none
    const int limit = rect.right - kBarMargin;
    int64_t position = 0;
    size_t i = 0;
    while (i < events.size()) {
        // A run: the event and every follower with the very same chain share one block of bars.
        const CTransformChain& chain = events[i]->GetChain();
        const int64_t runStart = position;
        size_t j = i;
        while (j < events.size() && (j == i || SameChain(events[j]->GetChain(), chain))) {
            position += events[j]->GetTimelineSection().SectionLength();
            ++j;
        }
        const int64_t runEnd = position;
        i = j;
        if (runStart >= view.m_end)
            break;
        if (chain.GetCount() == 0 || runEnd <= view.m_start)
            continue;

        const int barLeft = std::max(PixelOf(runStart, rect, view) - kBarLead, rect.left);
        const int barRight = std::min(PixelOf(runEnd, rect, view), rect.right);
        if (barRight <= barLeft)
            continue;
        QString text;
        for (int32_t k = 0; k < chain.GetCount(); ++k) {
            if (k > 0)
                text += QStringLiteral(", ");
            text += QString::fromStdString(chain.GetAt(k)->GetName());
        }
        if (rowHeight == 0)
            rowHeight = dc.TextExtent(QStringLiteral("Ag"), kUpright).height();
        const int textLeft = barLeft + 2;
        const std::vector<QString> lines = FitLines(dc, text, limit - textLeft);
        const int rows = std::max<int>(chain.GetCount(), static_cast<int>(lines.size()));
        for (int r = 0; r < rows; ++r) {
            const int y = rect.top + r * rowHeight;
            dc.FillRect(PixelRect{barLeft, y, barRight, y + rowHeight}, paper);
            if (r < static_cast<int>(lines.size()))
                dc.Text(textLeft, y, lines[static_cast<size_t>(r)], kUpright, ink, AlignLeftTop, paper);
        }
        // One tag per chain position. The last also answers for the rows its text wrapped into
        // and for some distance below, so that a thin bar is easy to take hold of.
        for (int32_t k = 0; k < chain.GetCount(); ++k) {
            const int y = rect.top + k * rowHeight;
            const bool last = k + 1 == chain.GetCount();
            const int bottom = last ? rect.top + rows * rowHeight + kTagReach : y + rowHeight;
            m_hitAreas.push_back(TransformHitArea{PixelRect{barLeft, y, barRight, bottom}, chain.GetAt(k)});
        }
    }
}

void CVisualizer::DrawLabels(CDrawContext& dc, const PixelRect& rect, const CSection& view, ColorRef ink,
                             ColorRef paper) {
    const CLabelList& labels = m_media->GetLabels();
    if (labels.GetCount() == 0)
        return;
    const int textHeight = dc.TextExtent(QStringLiteral("Ag"), kUpright).height();
    const QImage& foot = LabelFootMark();
    for (int32_t i = 0; i < labels.GetCount(); ++i) {
        const CLabelData* label = labels.GetAt(i);
        const int x = PixelOf(label->m_position, rect, view);
        const int next =
            i + 1 < labels.GetCount() ? PixelOf(labels.GetAt(i + 1)->m_position, rect, view) : rect.right;
        if (x >= rect.right)
            break;
        if (std::max(x, next) < rect.left)
            continue;
        QString name =
            QString::fromStdString(!label->m_firstText.empty() ? label->m_firstText : label->m_secondText);
        if (name.isEmpty())
            name = QString::asprintf("Track %d", i + 1);

        if (x >= rect.left) {
            dc.Line(x, rect.top, x, rect.bottom, kLabelInk);
            dc.DrawBitmap(x - foot.width() / 2, rect.bottom - 1 - foot.height(), foot, kMagenta);
        }
        const int boxLeft = x + kLabelBoxGap;
        const int boxRight = std::min(next, rect.right);
        if (boxRight - boxLeft < 3)
            continue;
        const int boxBottom = rect.bottom - 1;
        const int boxTop = boxBottom - textHeight - 2;
        dc.Line(boxLeft, boxTop, boxRight, boxTop, kLabelInk);
        dc.Line(boxLeft, boxBottom - 1, boxRight, boxBottom - 1, kLabelInk);
        dc.Line(boxLeft, boxTop, boxLeft, boxBottom, kLabelInk);
        dc.Line(boxRight - 1, boxTop, boxRight - 1, boxBottom, kLabelInk);
        QPainter& painter = dc.Painter();
        painter.save();
        painter.setClipRect(QRect(boxLeft + 1, boxTop + 1, boxRight - boxLeft - 2, boxBottom - boxTop - 2));
        dc.Text(boxLeft + 2, boxTop + 1, name, kUpright, ink, AlignLeftTop, paper);
        painter.restore();
    }
}

CTransformBase* CVisualizer::HitTestTransform(int x, int y) const {
    for (const TransformHitArea& area : m_hitAreas) {
        if (area.rect.Contains(x, y))
            return area.transform;
    }
    return nullptr;
}

int32_t CVisualizer::HitTestLabel(int x, int y, const PixelRect& rect, const CSection& view) const {
    if (m_media == nullptr)
        return -1;
    const CLabelList& labels = m_media->GetLabels();
    for (int32_t i = 0; i < labels.GetCount(); ++i) {
        if (std::abs(PixelOf(labels.GetAt(i)->m_position, rect, view) - x) < kLabelReach)
            return i;
    }
    return -1;
}

CMediaEvent* CVisualizer::HitTestEvent(int x, int y, int64_t* position, int* flag, const PixelRect& rect,
                                       const CSection& view) const {
    if (m_media == nullptr)
        return nullptr;
    CMediaEvent* found = nullptr;
    ForEachBoundary(*m_media, view, [&](const Boundary& b) {
        const int xStart = PixelOf(b.end, rect, view);
        const int xEnd = PixelOf(b.end + b.fade, rect, view);
        int which = -1;
        if (x > xStart - kGripReach && x < xEnd + kGripReach && y >= 0 && y < rect.top)
            which = 1;
        else if (x > xStart - kGripReach && x < xStart + kGripReach && y >= rect.bottom - kCutGripHeight &&
                 y < rect.bottom)
            which = 0;
        if (which < 0)
            return true;
        found = b.event;
        if (position != nullptr)
            *position = b.end;
        if (flag != nullptr)
            *flag = which;
        return false;
    });
    return found;
}

} // namespace tw
