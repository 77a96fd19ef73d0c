#include "gui/controls/FlatButton.h"

#include "gui/controls/ControlLook.h"

#include <QEnterEvent>
#include <QPainter>

namespace tw {

namespace {

constexpr int kMargin = 8;
constexpr int kSpacing = 6; // between picture and text
constexpr qreal kRadius = 4.0;

} // namespace

CFlatButton::CFlatButton(QWidget* parent) : CFlatButton(QString(), parent) {}

CFlatButton::CFlatButton(const QString& text, QWidget* parent)
    : QAbstractButton(parent), m_back(0x2b, 0x30, 0x38), m_text(look::Text()) {
    setText(text);
    setIconSize({16, 16});
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
}

void CFlatButton::SetImages(const QIcon& normal, const QIcon& pressed) {
    m_normal = normal;
    m_pressedImage = pressed;
    updateGeometry();
    update();
}

void CFlatButton::SetColours(const QColor& back, const QColor& text) {
    m_back = back;
    m_text = text;
    update();
}

void CFlatButton::SetPressed(bool pressed) {
    m_pressed = pressed;
    update();
}

QSize CFlatButton::sizeHint() const {
    const QFontMetrics fm(font());
    int w = 2 * kMargin;
    int h = fm.height();
    if (!m_normal.isNull() || !m_pressedImage.isNull()) {
        w += iconSize().width();
        h = std::max(h, iconSize().height());
    }
    if (!text().isEmpty())
        w += fm.horizontalAdvance(text()) + ((w > 2 * kMargin) ? kSpacing : 0);
    return {std::max(w, h + 2 * kMargin), h + 12};
}

void CFlatButton::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing, true);
    const bool down = ShowsDown();
    const bool enabled = isEnabled();
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);

    // The back: a slight sheen when up, a darker, flat face when down.
    QColor back = m_back;
    if (!enabled)
        back = back.darker(115);
    if (down) {
        p.setPen(Qt::NoPen);
        p.setBrush(back.darker(135));
    } else {
        QLinearGradient sheen(frame.topLeft(), frame.bottomLeft());
        sheen.setColorAt(0.0, back.lighter(118));
        sheen.setColorAt(1.0, back);
        p.setPen(Qt::NoPen);
        p.setBrush(sheen);
    }
    p.drawRoundedRect(frame, kRadius, kRadius);
    if (down) // a shadow along the top edge reads as pressed in
        p.fillRect(QRectF(frame.left() + kRadius, frame.top() + 1, frame.width() - 2 * kRadius, 1),
                   QColor(0, 0, 0, 70));

    // Picture and text side by side, centred; down shifts them by a pixel.
    const QIcon& icon = down && !m_pressedImage.isNull() ? m_pressedImage : m_normal;
    const QFontMetrics fm(font());
    const int textWidth = text().isEmpty() ? 0 : fm.horizontalAdvance(text());
    const int iconWidth = icon.isNull() ? 0 : iconSize().width();
    const int total = iconWidth + textWidth + (iconWidth > 0 && textWidth > 0 ? kSpacing : 0);
    const QPoint shift = down ? QPoint(1, 1) : QPoint(0, 0);
    int x = (width() - total) / 2 + shift.x();
    if (iconWidth > 0) {
        const QRect place(x, (height() - iconSize().height()) / 2 + shift.y(), iconSize().width(),
                          iconSize().height());
        icon.paint(&p, place, Qt::AlignCenter, enabled ? QIcon::Normal : QIcon::Disabled);
        x += iconWidth + kSpacing;
    }

    // The frame: an accent edge while the pointer is over it or it has focus, a hairline otherwise.
    QColor edge = look::PanelEdge();
    if (enabled && (m_hovered || hasFocus()))
        edge = look::Accent();
    else if (m_pressed)
        edge = look::Accent().darker(160);
    p.setPen(QPen(edge, 1.0));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(frame, kRadius, kRadius);

    if (textWidth > 0) {
        QColor text = m_text;
        if (!enabled)
            text.setAlpha(110);
        p.setPen(text);
        p.drawText(QRect(x, shift.y(), textWidth + 1, height()), Qt::AlignLeft | Qt::AlignVCenter,
                   this->text());
    }
}

void CFlatButton::enterEvent(QEnterEvent* event) {
    m_hovered = true;
    update();
    QAbstractButton::enterEvent(event);
}

void CFlatButton::leaveEvent(QEvent* event) {
    m_hovered = false;
    update();
    QAbstractButton::leaveEvent(event);
}

} // namespace tw
