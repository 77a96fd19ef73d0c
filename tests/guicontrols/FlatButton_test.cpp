#include "gui/controls/FlatButton.h"

#include <QApplication>
#include <QEnterEvent>
#include <QImage>
#include <QPixmap>

#include <gtest/gtest.h>

#include <functional>

namespace tw {
namespace {

QIcon Solid(QColor colour) {
    QPixmap pixmap(16, 16);
    pixmap.fill(colour);
    return QIcon(pixmap);
}

QColor Centre(CFlatButton& b) {
    return b.grab().toImage().pixelColor(b.width() / 2 + 1, b.height() / 2 + 1);
}

class PaintCounter : public QObject {
public:
    int paints = 0;
    bool eventFilter(QObject*, QEvent* e) override {
        if (e->type() == QEvent::Paint)
            ++paints;
        return false;
    }
};

TEST(FlatButton, EverySetterRepaints) {
    CFlatButton button("Bypass");
    button.resize(90, 28);
    button.show();
    QApplication::processEvents();
    PaintCounter counter;
    button.installEventFilter(&counter);
    const std::vector<std::pair<const char*, std::function<void()>>> setters = {
        {"images", [&] { button.SetImages(Solid(Qt::red), Solid(Qt::green)); }},
        {"colours", [&] { button.SetColours(Qt::darkBlue, Qt::white); }},
        {"pressed", [&] { button.SetPressed(true); }},
        {"released", [&] { button.SetPressed(false); }},
    };
    for (const auto& [name, set] : setters) {
        counter.paints = 0;
        set();
        QApplication::processEvents();
        EXPECT_GT(counter.paints, 0) << name;
    }
}

TEST(FlatButton, ThePressedFlagShowsThePressedImageAndTheNormalOneServesWithoutIt) {
    CFlatButton button;
    button.resize(40, 28);
    button.SetImages(Solid(Qt::red), Solid(Qt::green));
    EXPECT_EQ(Centre(button), QColor(Qt::red));
    button.SetPressed(true);
    EXPECT_TRUE(button.ShowsDown());
    EXPECT_EQ(Centre(button), QColor(Qt::green));
    button.SetImages(Solid(Qt::blue), QIcon());
    EXPECT_EQ(Centre(button), QColor(Qt::blue));
    button.SetPressed(false);
    button.setDown(true); // held by the mouse looks the same as kept down
    button.SetImages(Solid(Qt::red), Solid(Qt::green));
    EXPECT_EQ(Centre(button), QColor(Qt::green));
}

TEST(FlatButton, BackColourFillsItAndTheHoverFrameComesAndGoes) {
    CFlatButton button;
    button.resize(60, 28);
    button.setFocusPolicy(Qt::NoFocus);
    button.SetColours(QColor(200, 30, 30), Qt::white);
    const QColor inside = button.grab().toImage().pixelColor(8, 20);
    EXPECT_GT(inside.red(), 150);
    EXPECT_LT(inside.green(), 60);

    const QColor before = button.grab().toImage().pixelColor(30, 0);
    QEnterEvent enter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
    QApplication::sendEvent(&button, &enter);
    EXPECT_TRUE(button.IsHovered());
    const QColor hovered = button.grab().toImage().pixelColor(30, 0);
    EXPECT_GT(hovered.blue(), hovered.red()); // the accent edge, not the back
    EXPECT_NE(hovered, before);
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(&button, &leave);
    EXPECT_FALSE(button.IsHovered());
    EXPECT_EQ(button.grab().toImage().pixelColor(30, 0), before);
}

} // namespace
} // namespace tw
