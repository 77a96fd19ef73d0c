#include "display/Visualizer.h"
#include "display/DrawContext.h"
#include "display/HighContrast.h"

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

// True when both chains hold at least `count` transforms and the first `count` are the same ones.
bool SharePrefix(const CTransformChain& a, const CTransformChain& b, size_t count) {
    if (static_cast<size_t>(a.GetCount()) < count || static_cast<size_t>(b.GetCount()) < count)
        return false;
    for (int32_t i = 0; i < static_cast<int32_t>(count); ++i) {
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
    return DesktopHighContrast();
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
        // The walked event's own splice flag decides: a flagged event's end is dashed and named
        // instead of marked.
        const bool splice = b.event->m_spliceFlag;
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
    // One bar per chain position and run: following events whose chains begin with the same
    // transforms up to that position share it, so an effect laid over part of an earlier one
    // splits only the rows below the shared part.
    struct Bar {
        size_t depth;
        int left, right;
        CTransformBase* transform;
        std::vector<QString> lines;
    };
    const std::vector<CMediaEvent*>& events = m_media->GetEvents();
    std::vector<Bar> bars;
    std::vector<int> depthLines; // rows each chain position takes: its longest wrapped name
    int rowHeight = 0;           // measured at the first bar: most documents have none
    const int limit = rect.right - kBarMargin;
    for (size_t depth = 0;; ++depth) {
        bool deeper = false;
        int64_t position = 0;
        size_t i = 0;
        while (i < events.size() && position < view.m_end) {
            const CTransformChain& chain = events[i]->GetChain();
            const int64_t runStart = position;
            size_t j = i;
            while (j < events.size() && (j == i || SharePrefix(events[j]->GetChain(), chain, depth + 1))) {
                position += events[j]->GetTimelineSection().SectionLength();
                ++j;
            }
            i = j;
            if (static_cast<size_t>(chain.GetCount()) <= depth || position <= view.m_start)
                continue;
            deeper = true;
            const int left = std::max(PixelOf(runStart, rect, view) - kBarLead, rect.left);
            const int right = std::min(PixelOf(position, rect, view), rect.right);
            if (right <= left)
                continue;
            CTransformBase* transform = chain.GetAt(static_cast<int32_t>(depth));
            if (rowHeight == 0)
                rowHeight = dc.TextExtent(QStringLiteral("Ag"), kUpright).height();
            Bar bar{depth, left, right, transform,
                    FitLines(dc, QString::fromStdString(transform->GetName()), limit - (left + 2))};
            if (depthLines.size() <= depth)
                depthLines.resize(depth + 1, 1);
            depthLines[depth] = std::max(depthLines[depth], static_cast<int>(bar.lines.size()));
            bars.push_back(std::move(bar));
        }
        if (!deeper)
            break;
    }
    if (bars.empty())
        return;

    // A name too long for its row goes on in the rows below, and the next position starts under it.
    std::vector<int> depthTop(depthLines.size(), rect.top);
    for (size_t d = 1; d < depthLines.size(); ++d)
        depthTop[d] = depthTop[d - 1] + depthLines[d - 1] * rowHeight;
    for (const Bar& bar : bars) {
        for (size_t r = 0; r < bar.lines.size(); ++r) {
            const int y = depthTop[bar.depth] + static_cast<int>(r) * rowHeight;
            dc.FillRect(PixelRect{bar.left, y, bar.right, y + rowHeight}, paper);
            dc.Text(bar.left + 2, y, bar.lines[r], kUpright, ink, AlignLeftTop, paper);
        }
    }
    // Each bar answers on its rows and, to be easy to take hold of, some distance below. The rows
    // come first and the deeper reaches before the shallower, so a bar is never shadowed by the
    // reach of the one above it.
    for (const Bar& bar : bars) {
        const int top = depthTop[bar.depth];
        m_hitAreas.push_back(TransformHitArea{
            PixelRect{bar.left, top, bar.right, top + static_cast<int>(bar.lines.size()) * rowHeight},
            bar.transform});
    }
    for (size_t d = depthLines.size(); d-- > 0;) {
        for (const Bar& bar : bars) {
            if (bar.depth != d)
                continue;
            const int textBottom = depthTop[d] + static_cast<int>(bar.lines.size()) * rowHeight;
            m_hitAreas.push_back(TransformHitArea{
                PixelRect{bar.left, textBottom, bar.right, textBottom + kTagReach}, bar.transform});
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
