// A standing fader for a level. Range, steps, keys and valueChanged() come from QAbstractSlider.
// Grabbing the cap moves it by the pointer's travel; a press elsewhere on the track puts the cap
// under the pointer first. The wheel moves one single step per notch, a double click returns to
// the default value.
#pragma once

#include "gui/controls/DragSlider.h"

namespace tw {

class CLevelSlider : public CDragSlider {
    Q_OBJECT

public:
    explicit CLevelSlider(QWidget* parent = nullptr);

    // The value at height `y` of the track; above or below it, the ends of the range.
    int ValueAt(int y) const;
    // The groove the cap runs along; its top is the maximum, its bottom the minimum.
    QRect TrackRect() const;
    QRect HandleRect() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    int PositionOf(int value) const;

    int m_grabOffset = 0; // from the cap's centre to where it was grabbed
};

} // namespace tw
