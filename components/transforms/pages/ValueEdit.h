// The typed entry of a parameter: a number that Enter or leaving the field takes, limited to the
// range; Up and Down move by a step, Page Up and Page Down by ten; Escape puts the shown value back.
// Text that holds no number is replaced by the value it stood for.
#pragma once

#include "ValueScale.h"

#include <QLineEdit>

#include <functional>

namespace tp {

class CValueEdit : public QLineEdit {
public:
    CValueEdit(const CValueScale& scale, QWidget* parent);

    // Shows `value`, unless the person is in the middle of typing.
    void ShowValue(double value);
    // Whether the person has typed text that is not taken yet.
    bool IsTyping() const { return hasFocus() && isModified(); }

    // The person chose a value (already limited to the range).
    std::function<void(double value)> onCommit;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;

private:
    void Take();
    void Commit(double value);

    CValueScale m_scale;
    double m_value = 0.0;
};

} // namespace tp
