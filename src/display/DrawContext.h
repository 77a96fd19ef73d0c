// The drawing operations the painters of the document area need, over a QPainter on a QImage.
// Colours arrive as 0x00BBGGRR values, as the palettes and settings store them; they are turned
// into QColor here and nowhere else. Coordinates are device pixels; rectangles are (left, top,
// right, bottom) with right and bottom outside, as the painters compute them.
#pragma once

#include "display/DrawTypes.h"

#include <QColor>
#include <QFont>
#include <QImage>
#include <QPainter>
#include <QString>

#include <cstdint>
#include <optional>

namespace tw {

QColor ToQColor(ColorRef colour);
ColorRef ToColorRef(const QColor& colour);

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
