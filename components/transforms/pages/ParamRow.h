// The controls of one parameter in a grid row: caption, slider (or a list for a choice), typed entry
// and unit. The row tells what the person sets; values from elsewhere are shown only on a control
// the person is not working.
#pragma once

#include "ValueScale.h"

#include <functional>

class QComboBox;
class QGridLayout;
class QLabel;
class QWidget;

namespace tp {

class CParamSlider;
class CValueEdit;

class CParamRow {
public:
    // Grid columns of a row.
    enum { kCaptionColumn, kSliderColumn, kEditColumn, kUnitColumn };

    // Puts the controls of parameter `index` into `row` of `grid`, as children of `parent`. Each
    // control is named after its job and the index ("slider3", "edit3", "choice3") for tests and
    // accessibility tools.
    CParamRow(int index, const ParamSpec& spec, QGridLayout* grid, int row, QWidget* parent);

    // Shows a value the object holds, except on a control the person is working.
    void Show(double value);
    // The person chose `value` elsewhere on the page (on a curve): limited and stepped as typed text
    // is, shown on every control of the row and told as a change of the person's.
    void Set(double value);
    double Value() const { return m_value; }
    void SetEnabled(bool enabled);

    // The person set `value` for parameter `index`.
    std::function<void(int index, double value)> onChange;

private:
    void Chosen(double value);

    int m_index;
    ParamSpec m_spec;
    CValueScale m_scale;
    double m_value;
    QLabel* m_caption = nullptr;
    CParamSlider* m_slider = nullptr;
    QComboBox* m_choice = nullptr;
    CValueEdit* m_edit = nullptr;
    QLabel* m_unit = nullptr;
};

} // namespace tp
