#include "display/BarLook.h"
#include "display/DrawContext.h"

#include "display/Appearance.h"

namespace tw {

namespace {
// 8 points at 96 pixels per inch.
constexpr int kEightPointPixels = 11;
constexpr int kButtonFace = 0x0F, kButtonShadow = 0x10, kButtonText = 0x12, kButtonHighlight = 0x14;
} // namespace

BarLook MakeBarLook(bool systemAppearance) {
    BarLook look;
    look.fillBottom = SystemColor(kButtonFace);
    look.fillTop = systemAppearance ? SystemColor(kButtonHighlight) : look.fillBottom;
    look.text = SystemColor(kButtonText);
    look.shadow = SystemColor(kButtonShadow);
    look.font = FontSpec{kEightPointPixels, 400, 0};
    return look;
}

BarLook CurrentBarLook() {
    return MakeBarLook(CurrentAppearance() != 0);
}

void FillBar(CDrawContext& dc, const PixelRect& r, const BarLook& look) {
    if (look.fillTop == look.fillBottom)
        dc.FillRect(r, look.fillBottom);
    else
        dc.GradientRect(r, look.fillTop, look.fillBottom);
}

} // namespace tw
