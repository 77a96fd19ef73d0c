#include "gui/AnalyzerBar.h"

#include "gui/controls/AxisCtrl.h"
#include "gui/controls/ControlLook.h"
#include "gui/controls/CurveEdit.h"

#include <QFontMetrics>
#include <QGridLayout>

#include <cmath>

namespace tw {

namespace {

// What the scale shows before the first spectrum arrives.
constexpr int32_t kRestingRate = 44100;
constexpr int32_t kRestingSize = 256;

QColor LeftColour() {
    return look::Accent();
}
QColor RightColour() {
    return QColor(0xff, 0x9f, 0x43);
}

} // namespace

CSpectrumBar::CSpectrumBar(QWidget* parent) : QWidget(parent) {
    m_plot = new CCurveEdit(this);
    m_plot->setObjectName("spectrumPlot");
    m_frequencyAxis = new CAxisCtrl(Qt::Horizontal, this);
    m_levelAxis = new CAxisCtrl(Qt::Vertical, this);

    m_frequencyAxis->SetMarkMaker([this](int pixels, const QFontMetrics& fm) {
        std::vector<CAxisCtrl::Mark> marks;
        const double top = ScaleTopHz();
        const int labelRoom = fm.horizontalAdvance(QStringLiteral("20 kHz")) + 14;
        const double step = CAxisCtrl::NiceStep(top, std::max(1, pixels / labelRoom));
        for (int k = 0; k * step <= top; ++k)
            marks.push_back({k * step / top, FrequencyText(k * step)});
        return marks;
    });
    m_levelAxis->SetMarkMaker([](int pixels, const QFontMetrics& fm) {
        std::vector<CAxisCtrl::Mark> marks;
        const int room = fm.height() * 8 / 5;
        const double step = CAxisCtrl::NiceStep(-kFloorDb, std::max(1, pixels / room));
        for (int k = 0; - k * step >= kFloorDb; ++k) {
            const double dB = -k * step;
            marks.push_back({(dB - kFloorDb) / -kFloorDb,
                             k == 0 ? QStringLiteral("0 dB") : QString::number(static_cast<int>(dB))});
        }
        return marks;
    });
    m_plot->SetAxes(m_frequencyAxis, m_levelAxis);
    m_plot->SetReadout([this](int point) { return FrequencyText(FrequencyOf(point), true); },
                       [](float level) { return LevelText(level); });

    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(4, 4, 6, 2);
    grid->setHorizontalSpacing(2);
    grid->setVerticalSpacing(1);
    grid->addWidget(m_levelAxis, 0, 0);
    grid->addWidget(m_plot, 0, 1);
    grid->addWidget(m_frequencyAxis, 1, 1);
    grid->setColumnStretch(1, 1);
    grid->setRowStretch(0, 1);

    // The bar takes the focus for its plot, where the keys move the probe.
    setFocusPolicy(Qt::StrongFocus);
    setFocusProxy(m_plot);
    setMinimumHeight(110);
}

void CSpectrumBar::SetCurves(const CSpectrumCurves& curves) {
    const bool scaleChanged = curves.sampleRate != m_curves.sampleRate || curves.fftSize != m_curves.fftSize;
    m_curves = curves;
    if (scaleChanged)
        m_frequencyAxis->Refresh();
    std::vector<CCurveEdit::Curve> shown;
    const bool mono = curves.curves.size() == 1;
    for (size_t c = 0; c < curves.curves.size() && c < 2; ++c)
        shown.push_back(
            {curves.curves[c], c == 0 ? LeftColour() : RightColour(),
             mono ? QStringLiteral("Mono") : (c == 0 ? QStringLiteral("L") : QStringLiteral("R"))});
    m_plot->SetCurves(std::move(shown));
    // The grid follows the scale, which may have changed with the rate.
    m_plot->update();
}

double CSpectrumBar::FrequencyOf(int point) const {
    const double rate = m_curves.sampleRate > 0 ? m_curves.sampleRate : kRestingRate;
    const double size = m_curves.fftSize > 0 ? m_curves.fftSize : kRestingSize;
    return point * rate / size;
}

double CSpectrumBar::ScaleTopHz() const {
    const int size = m_curves.fftSize > 0 ? m_curves.fftSize : kRestingSize;
    return FrequencyOf(size / 2 + 1);
}

QString CSpectrumBar::FrequencyText(double hz, bool precise) {
    if (hz < 1000.0)
        return QString::number(static_cast<int>(std::lround(hz))) + " Hz";
    const double kHz = hz / 1000.0;
    if (precise)
        return QString::number(kHz, 'f', kHz < 10.0 ? 2 : 1) + " kHz";
    return QString::number(kHz, 'g', 4) + " kHz";
}

QString CSpectrumBar::LevelText(float level) {
    if (level < 0.0f)
        return QStringLiteral("< -100 dB");
    const double dB = level * -kFloorDb + kFloorDb;
    return QString::number(dB, 'f', 1) + " dB";
}

} // namespace tw
