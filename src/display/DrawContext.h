// The drawing operations the painters of the document area need, over a QPainter on a QImage.
// Colours arrive as 0x00BBGGRR values, as the palettes and settings store them; they are turned
// into QColor here and nowhere else. Coordinates are device pixels; rectangles are (left, top,
// right, bottom) with right and bottom outside, as the painters compute them.
#pragma once

#include <QColor>
#include <QFont>
#include <QImage>
#include <QPainter>
#include <QString>

#include <cstdint>
#include <optional>

namespace tw {

using ColorRef = uint32_t; // 0x00BBGGRR

QColor ToQColor(ColorRef colour);
ColorRef ToColorRef(const QColor& colour);

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

class CDrawContext {
public:
    // Paints into `target` (Format_RGB32 or ARGB32_Premultiplied) until destroyed.
    explicit CDrawContext(QImage& target);
    ~CDrawContext();
    CDrawContext(const CDrawContext&) = delete;
    CDrawContext& operator=(const CDrawContext&) = delete;

    QImage& Image() { return m_image; }
    // Text heights are multiplied by this: on a dense screen the picture has more pixels to the
    // inch, and a label keeps its size to the eye.
    void SetTextScale(double scale) { m_textScale = scale > 0 ? scale : 1.0; }
    double TextScale() const { return m_textScale; }
    QPainter& Painter() { return m_painter; }

    void FillRect(const PixelRect& r, ColorRef colour);
    // Vertical gradient: `top` on the first row, `bottom` on the last.
    void GradientRect(const PixelRect& r, ColorRef top, ColorRef bottom);
    // A line from (x1, y1) up to, not including, (x2, y2), one pixel wide.
    void Line(int x1, int y1, int x2, int y2, ColorRef colour, LineStyle style = LineStyle::Solid);
    // The same, each pixel XORed with `colour` (white inverts), so that drawing twice restores.
    void XorLine(int x1, int y1, int x2, int y2, ColorRef colour = 0xFFFFFF,
                 LineStyle style = LineStyle::Solid);
    // Inverts the destination pixels under the set (non-background) pixels of `mark`, stretched
    // over `dest`.
    void StretchInvert(const QImage& mark, const PixelRect& dest);
    // Copies `source` columns/rows [src) stretched over `dest`, nearest neighbour. An 8-bit
    // indexed source is drawn through its own colour table. An empty or reversed rectangle, or a
    // `src` reaching outside `source`, draws nothing.
    void StretchCopy(const QImage& source, const PixelRect& src, const PixelRect& dest);
    // Copies `bitmap` with its top-left at (x, y); pixels of `transparent` are left out.
    void DrawBitmap(int x, int y, const QImage& bitmap, std::optional<ColorRef> transparent = std::nullopt);
    // Writes `text` with its reference point at (x, y) as `align` says; with `background` the
    // text's box is filled first (opaque), otherwise transparent.
    void Text(int x, int y, const QString& text, const FontSpec& font, ColorRef colour,
              unsigned align = AlignLeftTop, std::optional<ColorRef> background = std::nullopt);
    // Width and height in pixels of `text` written upright in `font`.
    QSize TextExtent(const QString& text, const FontSpec& font) const;

private:
    // Whether pixels may be written straight into the image: 32-bit opaque target, painter without
    // clip or transform, plain copying, and the image's buffer not shared with another QImage.
    bool CanWriteDirectly() const;
    // An opaque fill of `r` (device pixels, clipped to the image).
    void Fill(const QRect& r, ColorRef colour);

    QImage& m_image;
    QPainter m_painter;
    double m_textScale = 1.0;
    FontSpec Scaled(const FontSpec& font) const;
};

// The small marks drawn by code in place of bitmap resources: the cross-fade mark (15 x 15),
// the cut mark (16 x 12) and the label's foot marker (9 x 9, magenta 0xFF00FF where transparent).
const QImage& CrossFadeMark();
const QImage& CutMark();
const QImage& LabelFootMark();

} // namespace tw
