#include "ParamRow.h"

#include "ParamSlider.h"
#include "ValueEdit.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>

#include <cmath>

namespace tp {

namespace {

QString Named(const char* job, int index) {
    return QString::fromLatin1(job) + QString::number(index);
}

} // namespace

CParamRow::CParamRow(int index, const ParamSpec& spec, QGridLayout* grid, int row, QWidget* parent)
    : m_index(index), m_spec(spec), m_scale(spec), m_value(spec.defaultValue) {
    m_caption = new QLabel(spec.label, parent);
    m_caption->setObjectName(Named("label", index));
    grid->addWidget(m_caption, row, kCaptionColumn);

    if (spec.IsChoice()) {
        m_choice = new QComboBox(parent);
        m_choice->setObjectName(Named("choice", index));
        m_choice->addItems(spec.choices);
        m_caption->setBuddy(m_choice);
        grid->addWidget(m_choice, row, kSliderColumn, 1, 3);
        // Only a choice of the person's counts; one shown from elsewhere is set with signals blocked.
        QObject::connect(m_choice, &QComboBox::currentIndexChanged, m_choice, [this](int item) {
            if (item >= 0)
                Chosen(std::ceil(m_spec.low) + item);
        });
        Show(m_value);
        return;
    }

    m_slider = new CParamSlider(parent);
    m_slider->setObjectName(Named("slider", index));
    m_slider->setRange(0, m_scale.Positions());
    m_slider->setSingleStep(std::max(1, m_scale.Positions() / 100));
    m_slider->setPageStep(std::max(1, m_scale.Positions() / 10));
    m_slider->SetDefaultPosition(m_scale.PositionOf(spec.defaultValue));
    m_slider->setEnabled(m_scale.Positions() > 0);
    grid->addWidget(m_slider, row, kSliderColumn);

    m_edit = new CValueEdit(m_scale, parent);
    m_edit->setObjectName(Named("edit", index));
    m_edit->setFixedWidth(m_edit->fontMetrics().horizontalAdvance(QStringLiteral("-00000.00")) + 12);
    m_caption->setBuddy(m_edit);
    grid->addWidget(m_edit, row, kEditColumn);

    m_unit = new QLabel(spec.unit, parent);
    m_unit->setObjectName(Named("unit", index));
    grid->addWidget(m_unit, row, kUnitColumn);

    const QString unit = spec.unit.isEmpty() ? QString() : u' ' + spec.unit;
    const QString range =
        QStringLiteral("%1%3 to %2%3").arg(m_scale.Format(spec.low), m_scale.Format(spec.high), unit);
    m_slider->setToolTip(range);
    m_edit->setToolTip(range);

    // Only the person moves the slider with signals on: values shown from elsewhere are blocked.
    QObject::connect(m_slider, &QSlider::valueChanged, m_slider, [this](int position) {
        const double value = m_scale.ValueAt(position);
        if (m_scale.Same(value, m_value))
            return;
        m_value = value;
        m_edit->ShowValue(value);
        if (onChange)
            onChange(m_index, value);
    });
    m_edit->onCommit = [this](double value) { Chosen(value); };
    Show(m_value);
}

void CParamRow::Chosen(double value) {
    if (m_scale.Same(value, m_value))
        return;
    m_value = value;
    if (m_slider != nullptr) {
        const QSignalBlocker quiet(m_slider);
        m_slider->setValue(m_scale.PositionOf(value));
    }
    if (onChange)
        onChange(m_index, value);
}

void CParamRow::Set(double value) {
    value = m_scale.Limit(value);
    if (m_edit != nullptr)
        m_edit->ShowValue(value);
    Chosen(value);
}

void CParamRow::Show(double value) {
    const bool changed = !m_scale.Same(value, m_value);
    m_value = value;
    if (m_choice != nullptr) {
        if (m_choice->view()->isVisible())
            return;
        const QSignalBlocker quiet(m_choice);
        m_choice->setCurrentIndex(static_cast<int>(std::lround(value - std::ceil(m_spec.low))));
        return;
    }
    if (!m_slider->isSliderDown()) {
        const QSignalBlocker quiet(m_slider);
        m_slider->setValue(m_scale.PositionOf(value));
    }
    if (changed || m_edit->text().isEmpty())
        m_edit->ShowValue(value);
}

void CParamRow::SetEnabled(bool enabled) {
    for (QWidget* w :
         {static_cast<QWidget*>(m_caption), static_cast<QWidget*>(m_slider), static_cast<QWidget*>(m_choice),
          static_cast<QWidget*>(m_edit), static_cast<QWidget*>(m_unit)})
        if (w != nullptr)
            w->setEnabled(enabled && (w != m_slider || m_scale.Positions() > 0));
}

} // namespace tp
