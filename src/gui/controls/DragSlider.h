// What the dial and the fader share: a drag that ends with the left button, the wheel moving one
// single step per notch (a page with Ctrl), and a double click that returns to the default value.
// Range, steps, keys and valueChanged() come from QAbstractSlider; how a drag moves the value is
// each control's own.
#pragma once

#include <QAbstractSlider>

namespace tw {

class CDragSlider : public QAbstractSlider {
    Q_OBJECT

public:
    explicit CDragSlider(QWidget* parent = nullptr) : QAbstractSlider(parent) {}

    // The value a double click returns to; limited to the range when used.
    void SetDefaultValue(int value) { m_defaultValue = value; }
    int DefaultValue() const { return m_defaultValue; }

protected:
    // Called by a control's press when its drag begins.
    void BeginDrag();
    bool IsDragging() const { return m_dragging; }

    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    int m_defaultValue = 0;
    bool m_dragging = false;
    int m_wheelRemainder = 0;
};

} // namespace tw
