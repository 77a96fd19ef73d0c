// Pointer, wheel and key events sent straight to a widget, as a user's hand would produce them.
#pragma once

#include <QCoreApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>
#include <QWidget>

namespace tw::test {

inline void Mouse(QWidget& w, QEvent::Type type, QPointF at, Qt::KeyboardModifiers mods = Qt::NoModifier) {
    const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent e(type, at, w.mapToGlobal(at), button, held, mods);
    QCoreApplication::sendEvent(&w, &e);
}

// A press at `from`, moves through `path` and a release at its last point.
inline void Drag(QWidget& w, QPointF from, std::initializer_list<QPointF> path,
                 Qt::KeyboardModifiers mods = Qt::NoModifier) {
    Mouse(w, QEvent::MouseButtonPress, from, mods);
    QPointF last = from;
    for (const QPointF& p : path)
        Mouse(w, QEvent::MouseMove, last = p, mods);
    Mouse(w, QEvent::MouseButtonRelease, last, mods);
}

inline void Wheel(QWidget& w, int angleY, Qt::KeyboardModifiers mods = Qt::NoModifier) {
    const QPointF at(w.width() / 2.0, w.height() / 2.0);
    QWheelEvent e(at, w.mapToGlobal(at), QPoint(), QPoint(0, angleY), Qt::NoButton, mods, Qt::NoScrollPhase,
                  false);
    QCoreApplication::sendEvent(&w, &e);
}

inline void Key(QWidget& w, int key, Qt::KeyboardModifiers mods = Qt::NoModifier) {
    QKeyEvent e(QEvent::KeyPress, key, mods);
    QCoreApplication::sendEvent(&w, &e);
}

} // namespace tw::test
