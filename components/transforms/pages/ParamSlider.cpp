#include "ParamSlider.h"

#include <QMouseEvent>

namespace tp {

void CParamSlider::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QSlider::mouseDoubleClickEvent(event);
        return;
    }
    // The first click of the pair has started a drag; end it before the jump.
    setSliderDown(false);
    setValue(m_defaultPosition);
    event->accept();
}

} // namespace tp
