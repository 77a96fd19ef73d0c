// A standing fader for a level. Range, steps, keys and valueChanged() come from QAbstractSlider.
// Grabbing the cap moves it by the pointer's travel; a press elsewhere on the track puts the cap
// under the pointer first. The wheel moves one single step per notch, a double click returns to
// the default value.
#pragma once

#include <QAbstractSlider>

namespace tw {

class CLevelSlider : public QAbstractSlider {
    Q_OBJECT

public:
    explicit CLevelSlider(QWidget* parent = nullptr);

    void SetDefaultValue(int value) { m_defaultValue = value; }
    int DefaultValue() const { return m_defaultValue; }

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
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    int PositionOf(int value) const;

    int m_defaultValue = 0;
    bool m_dragging = false;
    int m_grabOffset = 0; // from the cap's centre to where it was grabbed
    int m_wheelRemainder = 0;
};

} // namespace tw
