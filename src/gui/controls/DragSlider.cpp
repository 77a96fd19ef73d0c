#include "gui/controls/DragSlider.h"

#include "gui/controls/WheelNotches.h"

#include <QMouseEvent>
#include <QWheelEvent>

#include <algorithm>

namespace tw {

void CDragSlider::BeginDrag() {
    m_dragging = true;
    setSliderDown(true);
}

void CDragSlider::mouseReleaseEvent(QMouseEvent* event) {
    if (!m_dragging || event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    m_dragging = false;
    setSliderDown(false);
    event->accept();
}

void CDragSlider::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    setValue(std::clamp(m_defaultValue, minimum(), maximum()));
    event->accept();
}

void CDragSlider::wheelEvent(QWheelEvent* event) {
    const int notches = TakeWheelNotches(*event, m_wheelRemainder);
    const int step = (event->modifiers() & Qt::ControlModifier) ? pageStep() : singleStep();
    if (notches != 0)
        setValue(
            int(std::clamp(qint64(value()) + qint64(notches) * step, qint64(minimum()), qint64(maximum()))));
    event->accept();
}

} // namespace tw
