// A scale beside a plot: labelled marks at fractions of the plot's length, standing (left of the
// plot, fraction 0 at the bottom) or lying (under it, fraction 0 at the left). The owner says which
// marks a length holds through a mark maker, so that a scale thins its labels as it shrinks; a plot
// lined up with the axis draws its grid at the same marks.
#pragma once

#include <QString>
#include <QWidget>

#include <functional>
#include <vector>

class QFontMetrics;

namespace tw {

class CAxisCtrl : public QWidget {
    Q_OBJECT

public:
    struct Mark {
        double fraction = 0.0; // 0 .. 1 along the plot
        QString label;
    };
    // The marks for a scale of `pixels` length whose labels are drawn with `metrics`.
    using MarkMaker = std::function<std::vector<Mark>(int pixels, const QFontMetrics& metrics)>;

    explicit CAxisCtrl(Qt::Orientation orientation, QWidget* parent = nullptr);

    Qt::Orientation Orientation() const { return m_orientation; }
    void SetMarkMaker(MarkMaker maker);
    // The marks for the present length (made again when the length or the maker changed).
    const std::vector<Mark>& Marks() const;
    // Asks the mark maker again at the next look (what it depends on has changed).
    void Refresh();

    // A step of 1, 2 or 5 times a power of ten that divides `span` into at most `count` steps
    // (at least one step: the span itself rounded up to such a number).
    static double NiceStep(double span, int count);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    int Length() const;

    Qt::Orientation m_orientation;
    MarkMaker m_maker;
    mutable std::vector<Mark> m_marks;
    mutable int m_marksLength = -1;
};

} // namespace tw
