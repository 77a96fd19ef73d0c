#include "gui/controls/WheelNotches.h"

#include <QAbstractSlider>
#include <algorithm>

#include <QWheelEvent>

namespace tw {

int TakeWheelNotches(const QWheelEvent& event, int& remainder) {
    constexpr int kNotch = QWheelEvent::DefaultDeltasPerStep;
    const QPoint angle = event.angleDelta();
    // A sideways wheel counts too, rightwards as up; a sign flip comes from "natural" scrolling.
    int delta = angle.y() != 0 ? angle.y() : -angle.x();
    if (event.inverted())
        delta = -delta;
    // A change of direction starts afresh rather than first paying back the old remainder.
    if ((delta > 0 && remainder < 0) || (delta < 0 && remainder > 0))
        remainder = 0;
    remainder += delta;
    const int notches = remainder / kNotch;
    remainder -= notches * kNotch;
    return notches;
}

void StepByWheel(QAbstractSlider& slider, QWheelEvent& event, int& remainder) {
    const int notches = TakeWheelNotches(event, remainder);
    const int step = (event.modifiers() & Qt::ControlModifier) ? slider.pageStep() : slider.singleStep();
    if (notches != 0)
        slider.setValue(int(std::clamp(qint64(slider.value()) + qint64(notches) * step,
                                       qint64(slider.minimum()), qint64(slider.maximum()))));
    event.accept();
}

} // namespace tw
