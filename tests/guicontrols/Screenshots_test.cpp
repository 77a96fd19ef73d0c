// Pictures of the controls as a user sees them, for a person to judge; the checks only make sure
// that what the picture is meant to show is there.
#include "gui/controls/ControlLook.h"
#include "gui/controls/FlatButton.h"
#include "gui/controls/Knob.h"
#include "gui/controls/LevelSlider.h"
#include "gui/controls/MeterBar.h"
#include "gui/controls/SurroundLED.h"

#include "Screenshots.h"

#include <QApplication>
#include <QEnterEvent>
#include <QHBoxLayout>
#include <QPainter>
#include <QPainterPath>

#include <gtest/gtest.h>

namespace tw {
namespace {

QWidget* DarkStage(QWidget& stage) {
    stage.setPalette(look::DarkPalette(stage.palette()));
    stage.setAutoFillBackground(true);
    return &stage;
}

// A playback moment of a 5.1 file: a transient that clipped the right channel, then 0.9 s of
// quieter music in the 25 ms steps of the playback timer, so that the bars have fallen under their
// held marks.
void PlayMoment(CMeterBar& bar, qint64& now) {
    bar.SetChannels(6);
    bar.SetLevels({97, 100, 88, 70, 62, 58});
    for (int step = 1; step <= 36; ++step) {
        now += 25;
        const int wobble = (step * 7) % 5;
        bar.SetLevels({66 + wobble, 72 + wobble, 61 + wobble, 43 + wobble, 39 + wobble, 35 + wobble});
    }
}

TEST(Screenshots, MeterBarStandingAndLying) {
    qint64 now = 0;
    CMeterBar standing;
    standing.Meter()->SetClock([&now] { return now; });
    standing.SetVolumeAccess(
        [](uint32_t& packed) {
            packed = CMeterBar::PackVolume(-9, 0);
            return true;
        },
        [](uint32_t) {});
    standing.BalanceDial()->setValue(-20);
    standing.resize(190, 430);
    standing.show();
    QApplication::processEvents();
    PlayMoment(standing, now);
    EXPECT_GT(standing.Meter()->Peak(2), standing.Meter()->Level(2) + 0.1f);
    EXPECT_TRUE(standing.Meter()->Clipped(1));
    EXPECT_TRUE(test::SaveShot(standing.grab().toImage(), "meterbar-standing"));

    CMeterBar lying;
    lying.Meter()->SetClock([&now] { return now; });
    lying.resize(620, 150);
    lying.show();
    QApplication::processEvents();
    ASSERT_EQ(lying.Meter()->Orientation(), Qt::Horizontal);
    PlayMoment(lying, now);
    EXPECT_TRUE(test::SaveShot(lying.grab().toImage(), "meterbar-lying"));
}

TEST(Screenshots, KnobsAndFader) {
    QWidget stage;
    auto* row = new QHBoxLayout(DarkStage(stage));
    row->setSpacing(14);
    auto* volume = new CExKnob;
    volume->setRange(-60, 0);
    volume->setValue(-12);
    volume->SetCaption("Volume");
    volume->SetSuffix("dB");
    auto* balance = new CExKnob;
    balance->setRange(-100, 100);
    balance->setValue(35);
    balance->SetCaption("Balance");
    balance->SetFormatter(
        [](int v) { return v == 0 ? QString("C") : QString(v < 0 ? "L %1" : "R %1").arg(std::abs(v)); });
    auto* off = new CKnob;
    off->setRange(0, 100);
    off->setValue(70);
    off->SetCaption("Mix");
    off->SetSuffix("%");
    off->setEnabled(false);
    auto* fader = new CLevelSlider;
    fader->setValue(72);
    row->addWidget(volume);
    row->addWidget(balance);
    row->addWidget(off);
    row->addWidget(fader);
    stage.resize(330, 180);
    stage.show();
    QApplication::processEvents();
    EXPECT_EQ(balance->ValueText(), "R 35");
    EXPECT_TRUE(test::SaveShot(stage.grab().toImage(), "knobs"));
}

QIcon PowerIcon(QColor colour) {
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(colour, 3, Qt::SolidLine, Qt::RoundCap));
    p.drawArc(QRectF(6, 7, 20, 20), 120 * 16, 300 * 16);
    p.drawLine(QPointF(16, 4), QPointF(16, 15));
    return QIcon(pixmap);
}

TEST(Screenshots, FlatButtons) {
    QWidget stage;
    auto* row = new QHBoxLayout(DarkStage(stage));
    row->setSpacing(10);
    const auto make = [&](const QString& text) {
        auto* b = new CFlatButton(text);
        b->SetImages(PowerIcon(QColor(0x8b, 0x93, 0x9e)), PowerIcon(QColor(0xff, 0x9f, 0x43)));
        b->setFocusPolicy(Qt::NoFocus);
        row->addWidget(b);
        return b;
    };
    make("Bypass");
    CFlatButton* hovered = make("Preview");
    CFlatButton* pressed = make("Process offline");
    pressed->SetPressed(true);
    make("Apply")->setEnabled(false);
    CFlatButton* coloured = make("Record");
    coloured->SetColours(QColor(0x8e, 0x24, 0x2a), Qt::white);
    stage.resize(520, 56);
    stage.show();
    QApplication::processEvents();
    QEnterEvent enter(QPointF(4, 4), QPointF(4, 4), QPointF(4, 4));
    QApplication::sendEvent(hovered, &enter);
    EXPECT_TRUE(hovered->IsHovered());
    EXPECT_TRUE(test::SaveShot(stage.grab().toImage(), "flatbuttons"));
}

} // namespace
} // namespace tw
