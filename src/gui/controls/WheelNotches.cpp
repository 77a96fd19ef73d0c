#include "gui/controls/WheelNotches.h"

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

} // namespace tw
