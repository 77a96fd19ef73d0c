// The look shared by the ruler and the axes: a fill, text, ticks and the shadow line that closes
// the bar. The default appearance fills with the platform's face colour; the system appearance
// (setting "Appearance" of section "View" not 0) uses the themed header background, a light-to-face
// gradient.
#pragma once

#include "display/DrawContext.h"

namespace tw {

struct BarLook {
    ColorRef fillTop = 0;
    ColorRef fillBottom = 0;
    ColorRef text = 0;
    ColorRef shadow = 0;
    FontSpec font; // the 8-point sans face
};

BarLook MakeBarLook(bool systemAppearance);
// The look the settings ask for now.
BarLook CurrentBarLook();
void FillBar(CDrawContext& dc, const PixelRect& r, const BarLook& look);

} // namespace tw
