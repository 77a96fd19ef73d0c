#include "display/DrawContext.h"

#include <QFontDatabase>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QPalette>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace tw {

namespace {

// A dashed pen of width 1 draws 18 pixels and leaves 6, counted along the line.
constexpr int kDashOn = 18;
constexpr int kDashPeriod = 24;

QRgb OpaqueRgb(ColorRef colour) {
    return ToQColor(colour).rgb() | 0xFF000000u;
}

// The pixels of a line from (x1, y1) towards (x2, y2), the end point left out, in drawing order.
std::vector<QPoint> LinePixels(int x1, int y1, int x2, int y2) {
    std::vector<QPoint> pixels;
    const int dx = std::abs(x2 - x1), dy = std::abs(y2 - y1);
    const int sx = x1 < x2 ? 1 : -1, sy = y1 < y2 ? 1 : -1;
    pixels.reserve(static_cast<size_t>(std::max(dx, dy)));
    int err = dx - dy, x = x1, y = y1;
    while (x != x2 || y != y2) {
        pixels.emplace_back(x, y);
        const int e2 = 2 * err;
        if (e2 > -dy) {
            err -= dy;
            x += sx;
        }
        if (e2 < dx) {
            err += dx;
            y += sy;
        }
    }
    return pixels;
}

QFont MakeFont(const FontSpec& spec) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(std::max(1, spec.height));
    font.setWeight(static_cast<QFont::Weight>(std::clamp(spec.weight, 1, 1000)));
    return font;
}

// Writes `source`'s `src` rectangle stretched over `dest` by nearest neighbour, opaque, into the
// `visible` part of `dest` (device pixels); `out` holds device pixel (x, y) at (x - origin.x,
// y - origin.y).
void NearestStretchInto(const QImage& source, const PixelRect& src, const PixelRect& dest,
                        const QRect& visible, QImage& out, QPoint origin) {
    if (visible.isEmpty())
        return;
    const int dw = dest.Width(), dh = dest.Height();
    const bool indexed = source.format() == QImage::Format_Indexed8;
    const QImage plain = indexed || source.format() == QImage::Format_RGB32 ||
                                 source.format() == QImage::Format_ARGB32 ||
                                 source.format() == QImage::Format_ARGB32_Premultiplied
                             ? source
                             : source.convertToFormat(QImage::Format_RGB32);
    QList<QRgb> table;
    if (indexed) {
        table = plain.colorTable();
        for (QRgb& c : table)
            c |= 0xFF000000u;
        table.resize(256, 0xFF000000u); // indexes past the table draw black
    }
    std::vector<int> columns(static_cast<size_t>(visible.width()));
    for (int i = 0; i < visible.width(); ++i) {
        const int x = visible.left() + i - dest.left;
        const int sx = src.left + static_cast<int>(int64_t(x) * src.Width() / dw);
        columns[size_t(i)] = std::clamp(sx, 0, plain.width() - 1);
    }
    uchar* bits = out.bits();
    const qsizetype stride = out.bytesPerLine();
    int previousSource = -1;
    const QRgb* previousRow = nullptr;
    for (int y = visible.top(); y <= visible.bottom(); ++y) {
        const int sy = std::clamp(src.top + static_cast<int>(int64_t(y - dest.top) * src.Height() / dh), 0,
                                  plain.height() - 1);
        auto* row = reinterpret_cast<QRgb*>(bits + (y - origin.y()) * stride) + (visible.left() - origin.x());
        if (sy == previousSource) {
            // An enlarged source repeats its rows: copy the one just made.
            std::memcpy(row, previousRow, columns.size() * sizeof(QRgb));
            continue;
        }
        previousSource = sy;
        previousRow = row;
        if (indexed) {
            const uchar* in = plain.constScanLine(sy);
            for (size_t i = 0; i < columns.size(); ++i)
                row[i] = table[in[columns[i]]];
        } else {
            const auto* in = reinterpret_cast<const QRgb*>(plain.constScanLine(sy));
            for (size_t i = 0; i < columns.size(); ++i)
                row[i] = in[columns[i]] | 0xFF000000u;
        }
    }
}

// The same stretch as an image of `dest`'s size.
QImage NearestStretch(const QImage& source, const PixelRect& src, const PixelRect& dest) {
    QImage out(dest.Width(), dest.Height(), QImage::Format_RGB32);
    NearestStretchInto(source, src, dest, QRect(dest.left, dest.top, dest.Width(), dest.Height()), out,
                       QPoint(dest.left, dest.top));
    return out;
}

QImage MakeMark(int width, int height, ColorRef background) {
    QImage mark(width, height, QImage::Format_RGB32);
    mark.fill(OpaqueRgb(background));
    return mark;
}

} // namespace

QColor ToQColor(ColorRef colour) {
    return QColor(int(colour & 0xFF), int((colour >> 8) & 0xFF), int((colour >> 16) & 0xFF));
}

ColorRef ToColorRef(const QColor& colour) {
    return ColorRef(colour.red()) | (ColorRef(colour.green()) << 8) | (ColorRef(colour.blue()) << 16);
}

ColorRef SystemColor(int index) {
    // Without an application there is no platform palette; the classic defaults stand in.
    if (QGuiApplication::instance() == nullptr) {
        static constexpr ColorRef kClassic[] = {
            0xC8D0D4, 0x000000, 0x6A240A, 0x808080, 0xC8D0D4, 0xFFFFFF, 0x000000, 0x000000,
            0x000000, 0xFFFFFF, 0xC8D0D4, 0xC8D0D4, 0x808080, 0x6A240A, 0xFFFFFF, 0xC8D0D4,
            0x808080, 0x808080, 0x000000, 0xC8D0D4, 0xFFFFFF, 0x404040, 0xC8D0D4, 0x000000,
            0xE1FFFF, 0xB5B5B5, 0x800000, 0xF0CAA6, 0xC0C0C0, 0x6A240A, 0xC8D0D4};
        return index >= 0 && index < int(std::size(kClassic)) ? kClassic[index] : 0;
    }
    const QPalette palette = QGuiApplication::palette();
    auto role = [&](QPalette::ColorRole r, QPalette::ColorGroup g = QPalette::Active) {
        return ToColorRef(palette.color(g, r));
    };
    switch (index) {
    case 0x00:
        return role(QPalette::Button); // scroll bar
    case 0x01:
        return role(QPalette::Dark); // desktop
    case 0x02:
        return role(QPalette::Highlight); // active caption
    case 0x03:
        return role(QPalette::Mid); // inactive caption
    case 0x04:
        return role(QPalette::Window); // menu
    case 0x05:
        return role(QPalette::Base); // window
    case 0x06:
        return role(QPalette::Shadow); // window frame
    case 0x07:
        return role(QPalette::WindowText); // menu text
    case 0x08:
        return role(QPalette::Text); // window text
    case 0x09:
        return role(QPalette::HighlightedText); // caption text
    case 0x0A:                                  // active border
    case 0x0B:
        return role(QPalette::Window); // inactive border
    case 0x0C:
        return role(QPalette::Dark); // application workspace
    case 0x0D:
        return role(QPalette::Highlight); // highlight
    case 0x0E:
        return role(QPalette::HighlightedText); // highlight text
    case 0x0F:
        return role(QPalette::Button); // button face
    case 0x10:
        return role(QPalette::Dark); // button shadow
    case 0x11:
        return role(QPalette::Text, QPalette::Disabled); // grey text
    case 0x12:
        return role(QPalette::ButtonText); // button text
    case 0x13:
        return role(QPalette::WindowText, QPalette::Disabled); // inactive caption text
    case 0x14:
        return role(QPalette::Light); // button highlight
    case 0x15:
        return role(QPalette::Shadow); // 3-D dark shadow
    case 0x16:
        return role(QPalette::Midlight); // 3-D light
    case 0x17:
        return role(QPalette::ToolTipText); // info text
    case 0x18:
        return role(QPalette::ToolTipBase); // info background
    case 0x1A:
        return role(QPalette::Link); // hot-tracked item
    case 0x1B:
        return ToColorRef(palette.color(QPalette::Highlight).lighter(160)); // gradient active
    case 0x1C:
        return ToColorRef(palette.color(QPalette::Mid).lighter(130)); // gradient inactive
    case 0x1D:
        return role(QPalette::Highlight); // menu highlight
    case 0x1E:
        return role(QPalette::Window); // menu bar
    default:
        return 0;
    }
}

CDrawContext::CDrawContext(QImage& target) : m_image(target), m_painter(&target) {
    m_painter.setRenderHint(QPainter::Antialiasing, false);
}

CDrawContext::~CDrawContext() {
    m_painter.end();
}

bool CDrawContext::CanWriteDirectly() const {
    const QImage::Format format = m_image.format();
    if (format != QImage::Format_RGB32 && format != QImage::Format_ARGB32_Premultiplied &&
        format != QImage::Format_ARGB32)
        return false;
    const QPainter::CompositionMode mode = m_painter.compositionMode();
    return (mode == QPainter::CompositionMode_SourceOver || mode == QPainter::CompositionMode_Source) &&
           !m_painter.hasClipping() && m_painter.worldTransform().type() == QTransform::TxNone &&
           m_image.isDetached();
}

void CDrawContext::Fill(const QRect& r, ColorRef colour) {
    if (!CanWriteDirectly()) {
        m_painter.fillRect(r, ToQColor(colour));
        return;
    }
    // The raster engine writes at once, so pixels set here and by the painter keep their order.
    const QRect clipped = r.intersected(m_image.rect());
    if (clipped.isEmpty())
        return;
    const QRgb value = OpaqueRgb(colour);
    const qsizetype stride = m_image.bytesPerLine();
    uchar* first = m_image.bits() + clipped.top() * stride + clipped.left() * qsizetype(sizeof(QRgb));
    if (clipped.width() == 1) {
        for (int y = 0; y < clipped.height(); ++y)
            *reinterpret_cast<QRgb*>(first + y * stride) = value;
        return;
    }
    for (int y = 0; y < clipped.height(); ++y)
        std::fill_n(reinterpret_cast<QRgb*>(first + y * stride), clipped.width(), value);
}

void CDrawContext::FillRect(const PixelRect& r, ColorRef colour) {
    if (r.Width() <= 0 || r.Height() <= 0)
        return;
    Fill(QRect(r.left, r.top, r.Width(), r.Height()), colour);
}

void CDrawContext::GradientRect(const PixelRect& r, ColorRef top, ColorRef bottom) {
    const int h = r.Height();
    if (r.Width() <= 0 || h <= 0)
        return;
    const int span = std::max(1, h - 1);
    auto channel = [&](int shift, int row) {
        const int a = int((top >> shift) & 0xFF), b = int((bottom >> shift) & 0xFF);
        return ColorRef(a + (b - a) * row / span) << shift;
    };
    for (int row = 0; row < h; ++row) {
        const ColorRef c = channel(0, row) | channel(8, row) | channel(16, row);
        Fill(QRect(r.left, r.top + row, r.Width(), 1), c);
    }
}

void CDrawContext::Line(int x1, int y1, int x2, int y2, ColorRef colour, LineStyle style) {
    if (style == LineStyle::Solid && (x1 == x2 || y1 == y2)) {
        // Straight runs are rectangles one pixel across, the far end left out.
        if (x1 == x2 && y1 != y2)
            Fill(QRect(x1, std::min(y1, y2 + 1), 1, std::abs(y2 - y1)), colour);
        else if (y1 == y2 && x1 != x2)
            Fill(QRect(std::min(x1, x2 + 1), y1, std::abs(x2 - x1), 1), colour);
        return;
    }
    const QColor c = ToQColor(colour);
    std::vector<QPoint> pixels = LinePixels(x1, y1, x2, y2);
    if (style == LineStyle::Dash) {
        size_t kept = 0;
        for (size_t i = 0; i < pixels.size(); ++i)
            if (int(i % kDashPeriod) < kDashOn)
                pixels[kept++] = pixels[i];
        pixels.resize(kept);
    }
    if (pixels.empty())
        return;
    m_painter.save();
    m_painter.setPen(QPen(c, 1));
    m_painter.drawPoints(pixels.data(), int(pixels.size()));
    m_painter.restore();
}

void CDrawContext::XorLine(int x1, int y1, int x2, int y2, ColorRef colour, LineStyle style) {
    const QImage::Format format = m_image.format();
    const bool direct = (format == QImage::Format_RGB32 || format == QImage::Format_ARGB32_Premultiplied ||
                         format == QImage::Format_ARGB32) &&
                        !m_painter.hasClipping() && m_painter.worldTransform().type() == QTransform::TxNone &&
                        m_image.isDetached();
    if (direct) {
        // The painter hands a tall one-pixel rectangle to its worker threads, which costs far more
        // than flipping the pixels here; the colour bits are flipped and alpha is left alone.
        const QRgb bits = OpaqueRgb(colour) & 0x00FFFFFFu;
        const QRect bounds = m_image.rect();
        const qsizetype stride = m_image.bytesPerLine();
        uchar* base = m_image.bits();
        auto flip = [&](int x, int y) {
            *reinterpret_cast<QRgb*>(base + y * stride + x * qsizetype(sizeof(QRgb))) ^= bits;
        };
        auto dashOff = [style](int64_t i) {
            return style == LineStyle::Dash && int(i % kDashPeriod) >= kDashOn;
        };
        if (x1 == x2 || y1 == y2) {
            // Straight lines are walked inside the image only, however far their ends lie.
            const bool vertical = x1 == x2;
            const int fixed = vertical ? x1 : y1;
            if (fixed < 0 || fixed >= (vertical ? bounds.width() : bounds.height()))
                return;
            const int64_t from = vertical ? y1 : x1, to = vertical ? y2 : x2;
            const int64_t limit = vertical ? bounds.height() : bounds.width();
            // Pixels from `from` towards `to`, `to` itself left out.
            const int64_t low = from < to ? std::max<int64_t>(from, 0) : std::max<int64_t>(to + 1, 0);
            const int64_t high =
                from < to ? std::min<int64_t>(to - 1, limit - 1) : std::min<int64_t>(from, limit - 1);
            for (int64_t v = low; v <= high; ++v) {
                if (!dashOff(v > from ? v - from : from - v))
                    vertical ? flip(fixed, int(v)) : flip(int(v), fixed);
            }
            return;
        }
        const std::vector<QPoint> pixels = LinePixels(x1, y1, x2, y2);
        for (size_t i = 0; i < pixels.size(); ++i) {
            if (!dashOff(static_cast<int64_t>(i)) && bounds.contains(pixels[i]))
                flip(pixels[i].x(), pixels[i].y());
        }
        return;
    }
    m_painter.save();
    m_painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
    Line(x1, y1, x2, y2, colour, style);
    m_painter.restore();
}

void CDrawContext::StretchInvert(const QImage& mark, const PixelRect& dest) {
    if (mark.isNull() || dest.Width() <= 0 || dest.Height() <= 0)
        return;
    // XOR with the mark: its white pixels invert, its black background leaves the pixel alone.
    const QImage stretched = NearestStretch(mark, {0, 0, mark.width(), mark.height()}, dest);
    m_painter.save();
    m_painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
    m_painter.drawImage(dest.left, dest.top, stretched);
    m_painter.restore();
}

void CDrawContext::StretchCopy(const QImage& source, const PixelRect& src, const PixelRect& dest) {
    if (source.isNull() || src.Width() <= 0 || src.Height() <= 0 || dest.Width() <= 0 || dest.Height() <= 0)
        return;
    if (src.left < 0 || src.top < 0 || src.right > source.width() || src.bottom > source.height())
        return;
    if (CanWriteDirectly()) {
        const QRect visible =
            QRect(dest.left, dest.top, dest.Width(), dest.Height()).intersected(m_image.rect());
        NearestStretchInto(source, src, dest, visible, m_image, QPoint(0, 0));
        return;
    }
    const QImage stretched = NearestStretch(source, src, dest);
    m_painter.save();
    m_painter.setCompositionMode(QPainter::CompositionMode_Source);
    m_painter.drawImage(dest.left, dest.top, stretched);
    m_painter.restore();
}

void CDrawContext::DrawBitmap(int x, int y, const QImage& bitmap, std::optional<ColorRef> transparent) {
    if (bitmap.isNull())
        return;
    QImage copy = bitmap.convertToFormat(QImage::Format_ARGB32);
    const QRgb key = transparent ? (OpaqueRgb(*transparent) & 0xFFFFFFu) : 0;
    for (int row = 0; row < copy.height(); ++row) {
        auto* line = reinterpret_cast<QRgb*>(copy.scanLine(row));
        for (int col = 0; col < copy.width(); ++col) {
            const QRgb rgb = line[col] & 0xFFFFFFu;
            line[col] = transparent && rgb == key ? 0u : (rgb | 0xFF000000u);
        }
    }
    m_painter.save();
    m_painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    m_painter.drawImage(x, y, copy);
    m_painter.restore();
}

namespace {

struct TextBox {
    int width = 0, height = 0, ascent = 0;
    bool fonts = false; // false: no application, so no fonts; the box is an estimate
};

TextBox MeasureText(const QString& text, const QFont* font, const FontSpec& spec) {
    if (font == nullptr) {
        // Fonts exist only with a QGuiApplication; without one the box is that of a face whose
        // characters are six tenths of its height wide, so that layouts still come out sensible.
        const int height = std::max(1, spec.height);
        return {int(text.size()) * height * 6 / 10, height, height * 8 / 10, false};
    }
    const QFontMetrics metrics(*font);
    return {metrics.horizontalAdvance(text), metrics.height(), metrics.ascent(), true};
}

bool HaveFonts() {
    return QGuiApplication::instance() != nullptr;
}

} // namespace

FontSpec CDrawContext::Scaled(const FontSpec& font) const {
    FontSpec scaled = font;
    scaled.height = static_cast<int>(std::lround(font.height * m_textScale));
    return scaled;
}

void CDrawContext::Text(int x, int y, const QString& text, const FontSpec& unscaled, ColorRef colour,
                        unsigned align, std::optional<ColorRef> background) {
    if (text.isEmpty())
        return;
    const FontSpec font = Scaled(unscaled);
    const std::optional<QFont> qfont = HaveFonts() ? std::optional<QFont>(MakeFont(font)) : std::nullopt;
    const TextBox box = MeasureText(text, qfont ? &*qfont : nullptr, font);
    // Offsets of the text box's top-left from the reference point, in the text's own frame.
    int dx = 0;
    if (align & AlignRight)
        dx = -box.width;
    else if (align & AlignHCentre)
        dx = -box.width / 2;
    int dy = 0;
    if (align & AlignBaseline)
        dy = -box.ascent;
    else if (align & AlignBottom)
        dy = -box.height;

    m_painter.save();
    m_painter.translate(x, y);
    if (font.escapement != 0)
        m_painter.rotate(-font.escapement / 10.0); // counter-clockwise on screen
    if (background)
        m_painter.fillRect(QRect(dx, dy, box.width, box.height), ToQColor(*background));
    if (qfont) {
        m_painter.setFont(*qfont);
        m_painter.setPen(ToQColor(colour));
        m_painter.drawText(QPoint(dx, dy + box.ascent), text);
    }
    m_painter.restore();
}

QSize CDrawContext::TextExtent(const QString& text, const FontSpec& unscaled) const {
    const FontSpec font = Scaled(unscaled);
    const std::optional<QFont> qfont = HaveFonts() ? std::optional<QFont>(MakeFont(font)) : std::nullopt;
    const TextBox box = MeasureText(text, qfont ? &*qfont : nullptr, font);
    return {box.width, box.height};
}

const QImage& CrossFadeMark() {
    // Two falling and rising slopes crossing, white on black so that the inverting copy shows
    // them over any display.
    static const QImage mark = [] {
        QImage m = MakeMark(15, 15, 0x000000);
        for (int i = 0; i < 15; ++i) {
            m.setPixel(i, i, 0xFFFFFFFFu);
            m.setPixel(14 - i, i, 0xFFFFFFFFu);
        }
        for (int x = 0; x < 15; ++x)
            m.setPixel(x, 14, 0xFFFFFFFFu);
        return m;
    }();
    return mark;
}

const QImage& CutMark() {
    // A pointer up at the splice on a face-grey plate with a dark rim.
    static const QImage mark = [] {
        QImage m = MakeMark(16, 12, 0xC0C0C0);
        const QRgb rim = 0xFF404040u, point = 0xFF000000u;
        for (int x = 0; x < 16; ++x) {
            m.setPixel(x, 0, rim);
            m.setPixel(x, 11, rim);
        }
        for (int y = 0; y < 12; ++y) {
            m.setPixel(0, y, rim);
            m.setPixel(15, y, rim);
        }
        for (int y = 2; y <= 9; ++y) {
            const int half = (y - 2) * 5 / 7;
            for (int x = 7 - half; x <= 7 + half + 1; ++x)
                m.setPixel(x, y, point);
        }
        return m;
    }();
    return mark;
}

const QImage& LabelFootMark() {
    // A diamond in the label's grey with a black rim; the corners are the transparent magenta.
    static const QImage mark = [] {
        QImage m = MakeMark(9, 9, 0xFF00FF);
        for (int y = 0; y < 9; ++y) {
            const int half = 4 - std::abs(4 - y);
            for (int x = 4 - half; x <= 4 + half; ++x) {
                const bool edge = x == 4 - half || x == 4 + half;
                m.setPixel(x, y, edge ? 0xFF000000u : 0xFFC0C0C0u);
            }
        }
        return m;
    }();
    return mark;
}

} // namespace tw
