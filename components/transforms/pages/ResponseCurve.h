// A plot of what an effect does with its present values (a frequency response, a transfer curve, a
// gain envelope), redrawn whenever the page hands it new values. A concrete curve gives its axes and
// the curve's value at each point; this class draws panel, grid, scales and the curve.
//
// The plot area and the axes are published as the properties "plotRect" (QRect), "xRange" and
// "yRange" (QPointF: low, high) and "logX" (bool), so that a reader of the picture (a test, an
// accessibility tool) can tell where a value lies.
#pragma once

#include <QString>
#include <QWidget>

#include <functional>
#include <vector>

namespace tp {

class CResponseCurve : public QWidget {
public:
    explicit CResponseCurve(QWidget* parent);

    void SetValues(const std::vector<float>& values);

    // The person set parameter `index` to `value` on the curve itself (a curve with handles).
    std::function<void(int index, double value)> onSet;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    struct Axis {
        double low;
        double high;
        bool log;
        std::vector<double> ticks; // where grid lines and scale texts go
        QString unit;              // written behind the top or right-hand scale text
    };

    virtual Axis XAxis() const = 0;
    virtual Axis YAxis() const = 0;
    // The curve at `x`, in the units of the y axis.
    virtual double Evaluate(double x) const = 0;
    // The y the area under the curve is filled down (or up) to.
    virtual double Baseline() const { return YAxis().low; }
    // Anything drawn over the curve: band handles, a threshold.
    virtual void PaintMarks(QPainter& painter) const {}
    // A scale text; a number, with thousands as "k" on a logarithmic axis.
    virtual QString TickText(double value, bool log) const;

    const std::vector<float>& Values() const { return m_values; }
    float ValueOr(size_t index, float fallback) const {
        return index < m_values.size() ? m_values[index] : fallback;
    }
    QRectF PlotRect() const;
    QPointF ToScreen(double x, double y) const;
    // The axes' values at a point of the widget, held inside the plot.
    QPointF FromScreen(QPointF point) const;

    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void Publish();
    double XToScreen(const Axis& axis, double x) const;
    double YToScreen(const Axis& axis, double y) const;

    std::vector<float> m_values;
};

} // namespace tp
