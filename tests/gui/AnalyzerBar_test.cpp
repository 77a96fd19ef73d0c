// The spectrum analyzer bar on screen: its scales at the analysed rate, the probe's reading, its
// look in a light and a dark window, and, inside a document's frame, what the document publishes
// and the frame's focus ring through it.
#include "OnScreen.h"

#include "gui/AnalyzerBar.h"
#include "gui/controls/AxisCtrl.h"
#include "gui/controls/ControlLook.h"
#include "gui/controls/CurveEdit.h"

#include <QAction>
#include <QDockWidget>
#include <QMouseEvent>
#include <QTest>

#include <cmath>

namespace tw {
namespace {

using namespace test;

// A spectrum as music gives it: falling with frequency, a strong partial at bin 20 on the left and
// at bin 45 on the right, a little roughness.
CSpectrumCurves MusicLike(int32_t rate) {
    CSpectrumCurves s;
    s.sampleRate = rate;
    s.fftSize = 256;
    s.curves.assign(2, std::vector<float>(129));
    for (int i = 0; i < 129; ++i) {
        const double fall = 0.78 - 0.45 * std::log10(1.0 + i) / std::log10(129.0);
        const double rough = 0.025 * std::sin(i * 1.7) + 0.015 * std::sin(i * 4.1);
        s.curves[0][size_t(i)] =
            static_cast<float>(fall + rough + 0.2 * std::exp(-std::pow(i - 20, 2) / 3.0));
        s.curves[1][size_t(i)] =
            static_cast<float>(fall - 0.08 + rough * 0.7 + 0.25 * std::exp(-std::pow(i - 45, 2) / 4.0));
    }
    return s;
}

TEST(SpectrumBar, ScalesFollowTheRateTheProbeReadsFrequencyAndLevelAndBothPalettesRead) {
    CSpectrumBar bar;
    bar.resize(460, 190);
    bar.show();
    bar.SetCurves(MusicLike(44100));
    QApplication::processEvents();

    // Frequencies from 0 Hz, in kHz above a thousand, none past the right edge, which 129 points
    // over 256 of 44.1 kHz put at 22.2 kHz; levels from 0 dB at the top to -100 at the bottom.
    const auto& marks = bar.FrequencyAxis()->Marks();
    ASSERT_GE(marks.size(), 3u);
    EXPECT_EQ(marks.front().label, "0 Hz");
    EXPECT_EQ(marks[1].label, "5 kHz");
    EXPECT_NEAR(marks[1].fraction, 5000.0 / (129 * 44100.0 / 256), 1e-9);
    EXPECT_LE(marks.back().fraction, 1.0);
    const auto& levels = bar.LevelAxis()->Marks();
    ASSERT_GE(levels.size(), 3u);
    EXPECT_EQ(levels.front().label, "0 dB");
    EXPECT_DOUBLE_EQ(levels.front().fraction, 1.0);
    EXPECT_EQ(levels.back().label, "-100");
    EXPECT_DOUBLE_EQ(levels.back().fraction, 0.0);

    // The probe on bin 20: 20 x 44100 / 256 = 3445 Hz.
    CCurveEdit* plot = bar.Plot();
    const QPointF at(plot->XOfPoint(20) + 1.0, plot->height() / 2.0);
    QMouseEvent move(QEvent::MouseMove, at, plot->mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QCoreApplication::sendEvent(plot, &move);
    const float left = bar.Curves().curves[0][20], right = bar.Curves().curves[1][20];
    auto dB = [](float level) { return QString::number(level * 100.0 - 100.0, 'f', 1) + " dB"; };
    EXPECT_EQ(plot->ReadoutText(), "3.45 kHz, L " + dB(left) + ", R " + dB(right));
    EXPECT_EQ(CSpectrumBar::LevelText(-0.44f), "< -100 dB");
    // Under the left curve's peak the fill is the left's blue; above every curve only the panel.
    const QImage picture = plot->grab().toImage();
    const QColor under =
        picture.pixelColor(static_cast<int>(plot->XOfPoint(20)), static_cast<int>(plot->YOfValue(left)) + 6);
    EXPECT_GT(under.blue(), under.red() + 40) << under.name().toStdString();
    const QColor above = picture.pixelColor(static_cast<int>(plot->XOfPoint(100)), 4);
    EXPECT_LT(std::abs(above.blue() - look::Panel().blue()), 30) << above.name().toStdString();
    SaveShot(bar, "spectrum-bar");

    // Another rate, another scale; a mono document on a dark window, one curve, the probe put on
    // its strongest point by the focus.
    bar.setPalette(look::DarkPalette(bar.palette()));
    bar.setAutoFillBackground(true);
    CSpectrumCurves mono = MusicLike(8000);
    mono.curves.resize(1);
    bar.SetCurves(mono);
    EXPECT_NEAR(bar.ScaleTopHz(), 129 * 8000.0 / 256, 1e-9);
    ASSERT_EQ(plot->Curves().size(), 1u);
    EXPECT_EQ(plot->Curves()[0].name, "Mono");
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(plot, &leave);
    EXPECT_EQ(plot->ProbePoint(), -1);
    plot->clearFocus();
    bar.setFocus();
    QApplication::processEvents();
    const auto& values = mono.curves[0];
    EXPECT_EQ(plot->ProbePoint(), std::max_element(values.begin(), values.end()) - values.begin());
    SaveShot(bar, "spectrum-bar-dark");
}

class SpectrumFrame : public OnScreen {};

TEST_F(SpectrumFrame, TheBarShowsWhatTheDocumentAnalysesAndTakesItsPlaceInTheFocusRing) {
    ASSERT_NO_FATAL_FAILURE(Open(wav));
    ASSERT_NE(window->SpectrumBar(), nullptr);
    EXPECT_FALSE(window->Bar(32828)->isVisible());
    window->Action(32828)->trigger();
    ASSERT_TRUE(Pump([&] { return window->Bar(32828)->isVisible(); }));
    // The chord's first quarter second at the cursor: 220 Hz on the left, 277 Hz on the right.
    document->Call([](CMainFrame& f) {
        f.GetView().SetSelection(CSection(11025, 11025));
        f.PublishIdle();
    });
    CSpectrumBar* bar = window->SpectrumBar();
    ASSERT_TRUE(Pump([&] { return bar->Curves().curves.size() == 2; }));
    EXPECT_EQ(bar->Curves().sampleRate, 44100);
    for (const auto& curve : bar->Curves().curves) {
        // 220 and 277 Hz lie in bin 1 of 172 Hz bins, the strongest.
        const auto peak = std::max_element(curve.begin(), curve.end()) - curve.begin();
        EXPECT_LE(peak, 2);
    }
    window->resize(1000, 640);
    window->show();
    QApplication::processEvents();
    SaveShot(*window, "spectrum-frame");

    // The ring: the frame sends the focus into the bar, and Tab from it goes on to the view.
    window->activateWindow();
    window->FocusBar(32828);
    ASSERT_TRUE(Pump([&] { return bar->Plot()->hasFocus(); }));
    QTest::keyClick(bar->Plot(), Qt::Key_Tab);
    EXPECT_TRUE(Pump([&] { return window->View()->Canvas()->hasFocus(); }));
}

} // namespace
} // namespace tw
