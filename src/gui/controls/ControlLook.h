// The colours and small drawing pieces the controls share, so that meters, dials, faders and buttons
// read as one family: a dark panel, one accent colour for values, and the green/yellow/red of a
// level meter.
#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

class QPainter;
class QRectF;

namespace tw::look {

QColor Panel();      // the back of meters and the body of dials
QColor PanelEdge();  // the hairline around a panel
QColor Groove();     // an empty track or arc
QColor Accent();     // a value: the arc of a dial, the fill of a fader
QColor Text();       // values and captions
QColor DimText();    // scales and units
QColor MeterGreen(); // a safe level
QColor MeterYellow();
QColor MeterRed();

// The colour of a meter segment at `dB` below full scale: green up to -18, yellow up to -6, red above.
QColor MeterColour(double dB);

// `base` with the window colours of a dark meter bridge, for a panel that holds these controls.
QPalette DarkPalette(QPalette base);
// Captions and values drawn straight on the parent's back follow its palette, so that they read on a
// light window as well as on a dark one.
QColor WindowText(const QPalette& palette);
QColor DimWindowText(const QPalette& palette);

// A small face for scales and captions, derived from the widget's own font.
QFont SmallFont(const QFont& base, qreal points = 7.5);

// A rounded dark panel with a hairline edge, the back of every control here.
void FillPanel(QPainter& p, const QRectF& r, qreal radius = 4.0);

} // namespace tw::look
