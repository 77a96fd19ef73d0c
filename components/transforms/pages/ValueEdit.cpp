#include "ValueEdit.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QTimer>

namespace tp {

CValueEdit::CValueEdit(const CValueScale& scale, QWidget* parent) : QLineEdit(parent), m_scale(scale) {
    setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(this, &QLineEdit::editingFinished, this, [this] { Take(); });
}

void CValueEdit::ShowValue(double value) {
    m_value = value;
    if (IsTyping())
        return;
    setText(m_scale.Format(value));
}

void CValueEdit::Take() {
    if (!isModified())
        return;
    setModified(false);
    if (const auto typed = m_scale.Parse(text()))
        Commit(*typed);
    else
        setText(m_scale.Format(m_value));
}

void CValueEdit::Commit(double value) {
    const double old = m_value;
    m_value = value;
    setText(m_scale.Format(value));
    if (!m_scale.Same(old, value) && onCommit)
        onCommit(value);
}

void CValueEdit::keyPressEvent(QKeyEvent* event) {
    int steps = 0;
    switch (event->key()) {
    case Qt::Key_Up:
        steps = 1;
        break;
    case Qt::Key_Down:
        steps = -1;
        break;
    case Qt::Key_PageUp:
        steps = 10;
        break;
    case Qt::Key_PageDown:
        steps = -10;
        break;
    case Qt::Key_Escape:
        if (isModified()) {
            setModified(false);
            setText(m_scale.Format(m_value));
            selectAll();
            return; // taken here, so that the dialog around does not close
        }
        break;
    default:
        break;
    }
    if (steps == 0) {
        QLineEdit::keyPressEvent(event);
        return;
    }
    // A step starts from what was typed, when it reads as a number.
    const auto typed = isModified() ? m_scale.Parse(text()) : std::nullopt;
    setModified(false);
    Commit(m_scale.Stepped(typed.value_or(m_value), steps));
    selectAll();
}

void CValueEdit::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    // Entering the field selects the value, so that typing replaces it.
    QTimer::singleShot(0, this, [this] { selectAll(); });
}

} // namespace tp
