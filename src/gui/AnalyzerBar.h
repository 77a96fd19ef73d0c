// The contents of the "Spectrum Analyzer" bar: the spectrum the document publishes, left channel in
// front of the right, over a frequency scale at the analysed sample rate and a level scale from
// -100 to 0 dB. The mouse, or the keys once the bar has the focus, read off a bin's frequency and
// level. The bar only shows: the document thread decides what is analysed and when.
#pragma once

#include "platform/Presentation.h"

#include <QWidget>

namespace tw {

class CAxisCtrl;
class CCurveEdit;

class CSpectrumBar : public QWidget {
    Q_OBJECT

public:
    static constexpr double kFloorDb = -100.0;

    explicit CSpectrumBar(QWidget* parent = nullptr);

    void SetCurves(const CSpectrumCurves& curves);
    const CSpectrumCurves& Curves() const { return m_curves; }

    CCurveEdit* Plot() const { return m_plot; }
    CAxisCtrl* FrequencyAxis() const { return m_frequencyAxis; }
    CAxisCtrl* LevelAxis() const { return m_levelAxis; }

    // The frequency of point `point`: bin i is i * rate / size.
    double FrequencyOf(int point) const;
    // The highest frequency the scale reaches: the width holds n points, n = size / 2 + 1.
    double ScaleTopHz() const;

    // "0 Hz", "440 Hz", "1.5 kHz", "12 kHz", "1.72 kHz" with two decimals when `precise`.
    static QString FrequencyText(double hz, bool precise = false);
    // "-23.4 dB"; a level below the scale reads "< -100 dB".
    static QString LevelText(float level);

private:
    CSpectrumCurves m_curves;
    CCurveEdit* m_plot = nullptr;
    CAxisCtrl* m_frequencyAxis = nullptr;
    CAxisCtrl* m_levelAxis = nullptr;
};

} // namespace tw
