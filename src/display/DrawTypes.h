// The drawing vocabulary the painters' interfaces speak: colours, rectangles, fonts, alignments.
// It carries no type of the windowing toolkit, so the layers above the painters (the view that
// owns a plot) can name what they draw without depending on how it is drawn.
#pragma once

#include <cstdint>

namespace tw {

using ColorRef = uint32_t; // 0x00BBGGRR

// The platform's colour for a system colour number (5 window, 8 window text, 0xD highlight,
// 0xF button face, 0x10 button shadow, 0x1B gradient active caption, ...), taken from the
// application's palette; 0 for a number the platform has no colour for.
ColorRef SystemColor(int index);

struct PixelRect {
    int left = 0, top = 0, right = 0, bottom = 0;
    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    bool Contains(int x, int y) const { return x >= left && x < right && y >= top && y < bottom; }
};

enum class LineStyle { Solid, Dash };

// A font of the stated pixel height and weight (400 normal, 700 bold) in the platform's sans face;
// an escapement of 900 writes bottom to top, -900 top to bottom, each turned about the reference
// point of Text.
struct FontSpec {
    int height = 13;
    int weight = 400;
    int escapement = 0; // tenths of a degree, counter-clockwise: 0, 900 or -900
};

enum TextAlign : unsigned {
    AlignLeftTop = 0,
    AlignHCentre = 1,
    AlignRight = 2,
    AlignBaseline = 4,
    AlignBottom = 8, // the text box's bottom edge on the reference point
};

class CDrawContext; // display/DrawContext.h

} // namespace tw
