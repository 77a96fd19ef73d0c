#include "gui/controls/AxisCtrl.h"

#include "gui/controls/ControlLook.h"

#include <QEvent>
#include <QFontMetrics>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {
constexpr int kTick = 3;
constexpr int kGap = 3;
} // namespace

CAxisCtrl::CAxisCtrl(Qt::Orientation orientation, QWidget* parent)
    : QWidget(parent), m_orientation(orientation) {
    setSizePolicy(orientation == Qt::Vertical ? QSizePolicy::Fixed : QSizePolicy::Expanding,
                  orientation == Qt::Vertical ? QSizePolicy::Expanding : QSizePolicy::Fixed);
}

void CAxisCtrl::SetMarkMaker(MarkMaker maker) {
    m_maker = std::move(maker);
    Refresh();
}

void CAxisCtrl::Refresh() {
    m_marksLength = -1;
    updateGeometry();
    update();
}

int CAxisCtrl::Length() const {
    return m_orientation == Qt::Vertical ? height() : width();
}

const std::vector<CAxisCtrl::Mark>& CAxisCtrl::Marks() const {
    const int length = Length();
    if (length != m_marksLength) {
        m_marksLength = length;
        m_marks = m_maker ? m_maker(length, QFontMetrics(look::SmallFont(font()))) : std::vector<Mark>();
    }
    return m_marks;
}

double CAxisCtrl::NiceStep(double span, int count) {
    if (!(span > 0.0))
        return 1.0;
    const double rough = span / std::max(count, 1);
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    for (double factor : {1.0, 2.0, 5.0})
        // A hair of tolerance: 100 / 5 must give 20, not 50, whatever the rounding of the division.
        if (factor * power >= rough * (1.0 - 1e-9))
            return factor * power;
    return 10.0 * power;
}

QSize CAxisCtrl::sizeHint() const {
    const QFontMetrics fm(look::SmallFont(font()));
    if (m_orientation == Qt::Horizontal)
        return {200, kTick + kGap + fm.height()};
    int widest = fm.horizontalAdvance(QStringLiteral("-100"));
    for (const Mark& mark : Marks())
        widest = std::max(widest, fm.horizontalAdvance(mark.label));
    return {widest + kTick + 2 * kGap, 120};
}

QSize CAxisCtrl::minimumSizeHint() const {
    const QSize hint = sizeHint();
    return m_orientation == Qt::Vertical ? QSize(hint.width(), 40) : QSize(60, hint.height());
}

void CAxisCtrl::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange)
        Refresh();
    QWidget::changeEvent(event);
}

void CAxisCtrl::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const QFont font = look::SmallFont(this->font());
    p.setFont(font);
    const QFontMetrics fm(font);
    const QColor tick = look::DimWindowText(palette());
    const QColor text = look::WindowText(palette());
    const int w = width(), h = height();
    for (const Mark& mark : Marks()) {
        const int labelWidth = fm.horizontalAdvance(mark.label);
        if (m_orientation == Qt::Vertical) {
            // Fraction 0 at the bottom row, 1 at the top row, as the plot beside it maps levels.
            const int y = static_cast<int>(std::lround((1.0 - mark.fraction) * (h - 1)));
            p.setPen(tick);
            p.drawLine(w - kTick, y, w - 1, y);
            const int top = std::clamp(y - fm.height() / 2, 0, std::max(0, h - fm.height()));
            p.setPen(text);
            p.drawText(QRect(0, top, w - kTick - kGap, fm.height()), Qt::AlignRight | Qt::AlignVCenter,
                       mark.label);
        } else {
            const int x = static_cast<int>(std::lround(mark.fraction * (w - 1)));
            p.setPen(tick);
            p.drawLine(x, 0, x, kTick - 1);
            const int left = std::clamp(x - labelWidth / 2, 0, std::max(0, w - labelWidth));
            p.setPen(text);
            p.drawText(QRect(left, kTick + kGap - 1, labelWidth, fm.height()), Qt::AlignCenter, mark.label);
        }
    }
}

} // namespace tw
