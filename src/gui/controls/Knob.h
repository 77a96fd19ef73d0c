// A rotary dial for an integer value: range, single and page steps, keys and valueChanged() come from
// QAbstractSlider. Dragging up or right turns it up (Shift for fine steps), the wheel moves one
// single step per notch (Ctrl for a page), a double click goes back to the default value.
#pragma once

#include "gui/controls/DragSlider.h"

#include <functional>

namespace tw {

class CKnob : public CDragSlider {
    Q_OBJECT

public:
    using Formatter = std::function<QString(int value)>;

    static constexpr double kSweepDegrees = 270.0;
    static constexpr int kDragPixels = 200; // a drag this long crosses the whole range
    static constexpr double kFineFactor = 0.1;

    explicit CKnob(QWidget* parent = nullptr);

    void SetCaption(const QString& caption);
    QString Caption() const { return m_caption; }
    // Written after the number ("dB"); unused when a formatter is set.
    void SetSuffix(const QString& suffix);
    void SetFormatter(Formatter formatter);
    // The value as the dial writes it under itself.
    QString ValueText() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    // The angle of `value` in Qt's degrees: 0 at three o'clock, counted anticlockwise.
    double AngleOf(int value) const;
    // Where the value arc starts: at 0 for a range around 0 (a balance), else at the minimum.
    int ArcOrigin() const;

    QString m_caption;
    QString m_suffix;
    Formatter m_formatter;
    double m_dragValue = 0.0;
    QPointF m_lastPos;
};

// The same dial; the meter bar's volume and balance are made with this name.
using CExKnob = CKnob;

} // namespace tw
