#include "gui/controls/LevelSlider.h"

#include "gui/controls/ControlLook.h"

#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

constexpr int kHandleHeight = 24;
constexpr int kMaxHandleWidth = 30;
constexpr int kGrooveWidth = 4;
constexpr int kPadding = 4;
constexpr int kTicks = 10; // gaps between tick marks along the track

} // namespace

CLevelSlider::CLevelSlider(QWidget* parent) : CDragSlider(parent) {
    setOrientation(Qt::Vertical);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding);
    setRange(0, 100);
    setPageStep(10);
}

QSize CLevelSlider::sizeHint() const {
    return {40, 180};
}

QSize CLevelSlider::minimumSizeHint() const {
    return {24, kHandleHeight * 3};
}

QRect CLevelSlider::TrackRect() const {
    const int top = kPadding + kHandleHeight / 2;
    const int bottom = std::max(top, height() - 1 - kPadding - kHandleHeight / 2);
    return QRect(width() / 2 - kGrooveWidth / 2, top, kGrooveWidth, bottom - top + 1);
}

QRect CLevelSlider::HandleRect() const {
    const int w = std::clamp(width() - 2 * kPadding, 4, kMaxHandleWidth);
    const int y = PositionOf(value());
    return QRect(width() / 2 - w / 2, y - kHandleHeight / 2, w, kHandleHeight);
}

int CLevelSlider::PositionOf(int v) const {
    const QRect track = TrackRect();
    const double span = double(maximum()) - minimum();
    const double t = span > 0 ? (double(v) - minimum()) / span : 0.0;
    return track.bottom() - int(std::lround(t * (track.height() - 1)));
}

int CLevelSlider::ValueAt(int y) const {
    const QRect track = TrackRect();
    if (track.height() <= 1)
        return minimum();
    const double t = std::clamp(double(track.bottom() - y) / (track.height() - 1), 0.0, 1.0);
    return minimum() + int(std::lround(t * (double(maximum()) - minimum())));
}

void CLevelSlider::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing, true);
    const bool enabled = isEnabled();
    const QRect track = TrackRect();
    const QRect handle = HandleRect();

    // Ticks on both sides, longer at the ends and the middle.
    p.setPen(QPen(look::DimText().darker(150), 1));
    for (int i = 0; i <= kTicks; ++i) {
        const int y = track.bottom() - int(std::lround(double(i) * (track.height() - 1) / kTicks));
        const int len = (i == 0 || i == kTicks || i == kTicks / 2) ? 7 : 4;
        p.drawLine(QPointF(track.left() - 6 - len, y + 0.5), QPointF(track.left() - 6, y + 0.5));
        p.drawLine(QPointF(track.right() + 7, y + 0.5), QPointF(track.right() + 7 + len, y + 0.5));
    }

    p.setPen(Qt::NoPen);
    p.setBrush(look::Groove().darker(130));
    p.drawRoundedRect(track, 2, 2);
    QRect filled = track;
    filled.setTop(PositionOf(value()));
    p.setBrush(enabled ? look::Accent() : look::DimText());
    p.drawRoundedRect(filled, 2, 2);

    // The cap: a rounded block with a light top, a dark foot and a line at the value.
    QLinearGradient cap(handle.topLeft(), handle.bottomLeft());
    cap.setColorAt(0.0, QColor(0x5a, 0x61, 0x6c));
    cap.setColorAt(0.48, QColor(0x3a, 0x40, 0x48));
    cap.setColorAt(1.0, QColor(0x25, 0x29, 0x2f));
    p.setPen(QPen(hasFocus() ? look::Accent().darker(130) : QColor(0x14, 0x16, 0x19), 1));
    p.setBrush(cap);
    p.drawRoundedRect(QRectF(handle).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    p.setPen(QPen(enabled ? look::Text() : look::DimText(), 2));
    const double mid = PositionOf(value()) + 0.5;
    p.drawLine(QPointF(handle.left() + 4, mid), QPointF(handle.right() - 3, mid));
}

void CLevelSlider::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QAbstractSlider::mousePressEvent(event);
        return;
    }
    const int y = int(event->position().y());
    const QRect handle = HandleRect();
    const bool onHandle = handle.contains(event->position().toPoint());
    m_grabOffset = onHandle ? y - PositionOf(value()) : 0;
    BeginDrag();
    if (!onHandle)
        setSliderPosition(ValueAt(y));
    event->accept();
}

void CLevelSlider::mouseMoveEvent(QMouseEvent* event) {
    if (!IsDragging()) {
        event->ignore();
        return;
    }
    setSliderPosition(ValueAt(int(event->position().y()) - m_grabOffset));
    event->accept();
}

} // namespace tw
