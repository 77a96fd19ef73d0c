// A plot of curves over a dark panel: each curve is a row of values, point i of n at i / n across,
// its value 0 at the bottom and 1 at the top (values beyond are held at the edges), drawn as a line
// over a soft fill in its own colour. The grid follows the marks of the axes lined up with it.
//
// A probe reads the plot: the point under the mouse, or, with the keyboard focus, moved by Left and
// Right (Page Up/Down by eight points, Home and End to the ends, Escape takes it away). The probe
// shows the point's place (as the owner words it) and each curve's value there.
#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

#include <functional>
#include <vector>

namespace tw {

class CAxisCtrl;

class CCurveEdit : public QWidget {
    Q_OBJECT

public:
    struct Curve {
        std::vector<float> values;
        QColor colour;
        QString name; // shown in the legend
    };
    // The probe's words for a point's place and for a value of a curve.
    using PointText = std::function<QString(int point)>;
    using ValueText = std::function<QString(float value)>;

    explicit CCurveEdit(QWidget* parent = nullptr);

    // The curves, first drawn last (on top). A change of the count of points keeps the probe on the
    // same fraction of the width.
    void SetCurves(std::vector<Curve> curves);
    const std::vector<Curve>& Curves() const { return m_curves; }
    // The count of points of the longest curve.
    int Points() const;

    // The axes whose marks the grid follows (either may be null).
    void SetAxes(const CAxisCtrl* horizontal, const CAxisCtrl* vertical);
    void SetReadout(PointText point, ValueText value);

    // The probed point, -1 for none.
    int ProbePoint() const { return m_probe; }
    void SetProbePoint(int point);
    // What the probe reads now, on one line ("place, name value, name value"); empty without a
    // probe or curves.
    QString ReadoutText() const;

    // Where the curves are drawn, inside the panel's edge.
    QRectF PlotRect() const;
    // The point under horizontal position `x` (nearest), -1 when there are no points.
    int PointAtX(double x) const;
    double XOfPoint(int point) const;
    double YOfValue(float value) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    void ProbeMoved(int point);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void PaintGrid(QPainter& p, const QRectF& plot) const;
    void PaintCurve(QPainter& p, const QRectF& plot, const Curve& curve) const;
    void PaintLegend(QPainter& p, const QRectF& plot) const;
    void PaintProbe(QPainter& p, const QRectF& plot) const;

    std::vector<Curve> m_curves;
    const CAxisCtrl* m_horizontal = nullptr;
    const CAxisCtrl* m_vertical = nullptr;
    PointText m_pointText;
    ValueText m_valueText;
    int m_probe = -1;
    bool m_mouseProbe = false; // the probe follows the mouse (it goes when the mouse leaves)
};

} // namespace tw
