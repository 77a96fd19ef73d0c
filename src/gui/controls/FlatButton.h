// A push button that draws itself: a back colour, a picture for the normal and one for the pressed
// state, a frame while the pointer is over it, then the text. The pressed flag keeps it down for a
// state that outlives the click, such as an effect that is bypassed; the owner sets it, usually
// from clicked().
#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QIcon>

namespace tw {

class CFlatButton : public QAbstractButton {
    Q_OBJECT

public:
    explicit CFlatButton(QWidget* parent = nullptr);
    explicit CFlatButton(const QString& text, QWidget* parent = nullptr);

    // Either picture may be null; without a pressed picture the normal one serves both states.
    void SetImages(const QIcon& normal, const QIcon& pressed);
    void SetColours(const QColor& back, const QColor& text);
    void SetPressed(bool pressed);

    bool IsPressed() const { return m_pressed; }
    bool IsHovered() const { return m_hovered; }
    // Drawn down: held by the mouse or the keyboard, or kept down by the pressed flag.
    bool ShowsDown() const { return m_pressed || isDown(); }
    QColor BackColour() const { return m_back; }
    QColor TextColour() const { return m_text; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QIcon m_normal;
    QIcon m_pressedImage;
    QColor m_back;
    QColor m_text;
    bool m_hovered = false;
    bool m_pressed = false;
};

} // namespace tw
