// The slider of a parameter: a double click returns it to the parameter's default.
#pragma once

#include <QSlider>

namespace tp {

class CParamSlider : public QSlider {
public:
    explicit CParamSlider(QWidget* parent) : QSlider(Qt::Horizontal, parent) {}

    void SetDefaultPosition(int position) { m_defaultPosition = position; }

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    int m_defaultPosition = 0;
};

} // namespace tp
