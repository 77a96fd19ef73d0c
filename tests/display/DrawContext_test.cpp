#include "display/DrawContext.h"

#include "DisplayImages.h"

#include <QGuiApplication>
#include <QPalette>

#include <gtest/gtest.h>

namespace tw {
namespace {

using test::At;
using test::Canvas;
using test::Inked;

TEST(DrawContext, ColourOrderIsBlueGreenRed) {
    EXPECT_EQ(ToQColor(0x00332211).rgb() & 0xFFFFFFu, 0x112233u);
    EXPECT_EQ(ToColorRef(QColor(0x11, 0x22, 0x33)), 0x00332211u);
    QImage image = Canvas(4, 4);
    {
        CDrawContext dc(image);
        dc.FillRect({1, 1, 3, 3}, 0x0000FF); // red
    }
    EXPECT_EQ(At(image, 1, 1), 0xFFFF0000u);
    EXPECT_EQ(At(image, 2, 2), 0xFFFF0000u);
    EXPECT_EQ(At(image, 3, 3), 0xFF000000u); // right and bottom lie outside
    EXPECT_EQ(At(image, 0, 0), 0xFF000000u);
}

TEST(DrawContext, LinesLeaveOutTheirEndPoint_AndDashedOnesHaveGaps) {
    QImage image = Canvas(20, 20);
    {
        CDrawContext dc(image);
        dc.Line(2, 3, 10, 3, 0xFFFFFF);   // across
        dc.Line(5, 5, 5, 12, 0xFFFFFF);   // down
        dc.Line(15, 15, 15, 8, 0xFFFFFF); // up
        dc.Line(0, 19, 6, 13, 0xFFFFFF);  // diagonal
        dc.Line(18, 0, 18, 0, 0xFFFFFF);  // empty
    }
    const QRgb white = 0xFFFFFFFFu, black = 0xFF000000u;
    EXPECT_EQ(At(image, 2, 3), white);
    EXPECT_EQ(At(image, 9, 3), white);
    EXPECT_EQ(At(image, 10, 3), black);
    EXPECT_EQ(At(image, 5, 11), white);
    EXPECT_EQ(At(image, 5, 12), black);
    EXPECT_EQ(At(image, 15, 15), white);
    EXPECT_EQ(At(image, 15, 9), white);
    EXPECT_EQ(At(image, 15, 8), black);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(At(image, i, 19 - i), white) << i;
    EXPECT_EQ(At(image, 6, 13), black);
    EXPECT_EQ(At(image, 18, 0), black);

    // A dashed line has gaps.
    QImage dashed = Canvas(1, 60);
    {
        CDrawContext dc(dashed);
        dc.Line(0, 0, 0, 60, 0xFFFFFF, LineStyle::Dash);
    }
    int lit = 0;
    for (int y = 0; y < 60; ++y)
        lit += At(dashed, 0, y) == white;
    EXPECT_EQ(At(dashed, 0, 0), white);
    EXPECT_EQ(At(dashed, 0, 20), black);
    EXPECT_EQ(lit, 18 + 18 + 12);
}

TEST(DrawContext, XorTwiceRestores) {
    for (const QImage::Format format : {QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied}) {
        QImage image(16, 16, format);
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x)
                image.setPixel(x, y, qRgb(x * 16, y * 16, (x + y) * 8));
        const QImage before = image.copy();
        for (int pass = 0; pass < 2; ++pass) {
            {
                CDrawContext dc(image);
                dc.XorLine(3, 0, 3, 16);
                dc.XorLine(0, 0, 16, 16, 0xFFFFFF, LineStyle::Dash);
            }
            if (pass == 0) {
                EXPECT_EQ(image.pixel(3, 5), ~before.pixel(3, 5) | 0xFF000000u) << format;
                EXPECT_EQ(image.pixel(0, 5), before.pixel(0, 5)) << format;
            }
        }
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x)
                ASSERT_EQ(image.pixel(x, y), before.pixel(x, y)) << format << ":" << x << "," << y;
    }
}

TEST(DrawContext, GradientEndRowsHoldTheirColours) {
    QImage image = Canvas(3, 10);
    {
        CDrawContext dc(image);
        dc.GradientRect({0, 0, 3, 10}, 0x0000FF, 0xFF0000);
    }
    EXPECT_EQ(At(image, 1, 0), 0xFFFF0000u);
    EXPECT_EQ(At(image, 1, 9), 0xFF0000FFu);
    const QRgb middle = At(image, 1, 5);
    EXPECT_GT(qRed(middle), 0);
    EXPECT_GT(qBlue(middle), 0);
    QImage single = Canvas(2, 1);
    {
        CDrawContext dc(single);
        dc.GradientRect({0, 0, 2, 1}, 0x00FF00, 0xFF0000);
    }
    EXPECT_EQ(At(single, 0, 0), 0xFF00FF00u);
}

TEST(DrawContext, StretchCopyIsNearestNeighbourThroughTheColourTable) {
    QImage source(4, 2, QImage::Format_Indexed8);
    source.setColorTable({qRgb(255, 0, 0), qRgb(0, 255, 0), qRgb(0, 0, 255), qRgb(9, 9, 9)});
    for (int x = 0; x < 4; ++x) {
        source.setPixel(x, 0, uint(x));
        source.setPixel(x, 1, uint(3 - x));
    }
    QImage image = Canvas(12, 6);
    {
        CDrawContext dc(image);
        dc.StretchCopy(source, {1, 0, 3, 2}, {2, 1, 10, 5}); // columns 1..2 over 8 pixels
    }
    EXPECT_EQ(At(image, 1, 1), 0xFF000000u);
    for (int x = 2; x < 6; ++x) {
        EXPECT_EQ(At(image, x, 1), 0xFF00FF00u) << x; // index 1
        EXPECT_EQ(At(image, x, 4), 0xFF0000FFu) << x; // row 1: index 2
    }
    for (int x = 6; x < 10; ++x)
        EXPECT_EQ(At(image, x, 2), 0xFF0000FFu) << x; // index 2
    EXPECT_EQ(At(image, 10, 2), 0xFF000000u);
    EXPECT_EQ(At(image, 5, 5), 0xFF000000u);

    // Shrinking drops columns instead of blending them.
    QImage narrow = Canvas(2, 1);
    {
        CDrawContext dc(narrow);
        dc.StretchCopy(source, {0, 0, 4, 1}, {0, 0, 2, 1});
    }
    EXPECT_EQ(At(narrow, 0, 0), 0xFFFF0000u);
    EXPECT_EQ(At(narrow, 1, 0), 0xFF0000FFu);

    // Rectangles outside the source, empty targets and empty sources are refused.
    QImage white = Canvas(4, 4, 0xFFFFFFFFu);
    QImage untouched = Canvas(4, 4);
    {
        CDrawContext dc(untouched);
        dc.StretchCopy(white, {2, 0, 6, 4}, {0, 0, 4, 4});
        dc.StretchCopy(white, {0, 0, 4, 4}, {0, 0, 0, 4});
        dc.StretchCopy(QImage(), {0, 0, 4, 4}, {0, 0, 4, 4});
    }
    EXPECT_EQ(At(untouched, 1, 1), 0xFF000000u);
}

TEST(DrawContext, StretchInvertTurnsOverTheMarkedPixelsOnly) {
    QImage mark = Canvas(2, 2);
    mark.setPixel(0, 0, 0xFFFFFFFFu);
    QImage image = Canvas(4, 4, 0xFF102030u);
    {
        CDrawContext dc(image);
        dc.StretchInvert(mark, {0, 0, 4, 4});
    }
    EXPECT_EQ(At(image, 0, 0), 0xFFEFDFCFu);
    EXPECT_EQ(At(image, 1, 1), 0xFFEFDFCFu);
    EXPECT_EQ(At(image, 2, 1), 0xFF102030u);
    EXPECT_EQ(At(image, 3, 3), 0xFF102030u);
}

TEST(DrawContext, BitmapLeavesOutItsTransparentColour) {
    const QImage& foot = LabelFootMark();
    QImage image = Canvas(12, 12, 0xFF123456u);
    {
        CDrawContext dc(image);
        dc.DrawBitmap(1, 2, foot, 0xFF00FF);
    }
    EXPECT_EQ(At(image, 1, 2), 0xFF123456u); // a magenta corner
    EXPECT_EQ(At(image, 5, 6), At(foot, 4, 4));
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 12; ++x)
            EXPECT_NE(At(image, x, y), 0xFFFF00FFu);

    QImage opaque = Canvas(12, 12, 0xFF123456u);
    {
        CDrawContext dc(opaque);
        dc.DrawBitmap(0, 0, foot);
    }
    EXPECT_EQ(At(opaque, 0, 0), 0xFFFF00FFu);
}

TEST(DrawContext, MarksHaveTheirSizes_AndSystemColoursComeFromThePalette) {
    EXPECT_EQ(CrossFadeMark().size(), QSize(15, 15));
    EXPECT_EQ(CutMark().size(), QSize(16, 12));
    EXPECT_EQ(LabelFootMark().size(), QSize(9, 9));
    // The cross-fade mark is drawn inverting: it needs both set and clear pixels.
    int set = 0;
    for (int y = 0; y < 15; ++y)
        for (int x = 0; x < 15; ++x)
            set += At(CrossFadeMark(), x, y) == 0xFFFFFFFFu;
    EXPECT_GT(set, 0);
    EXPECT_LT(set, 15 * 15);
    // System colours come from the palette.
    EXPECT_EQ(SystemColor(0x0D), ToColorRef(QGuiApplication::palette().color(QPalette::Highlight)));
    EXPECT_EQ(SystemColor(-1), 0u);
    EXPECT_EQ(SystemColor(1000), 0u);
}

TEST(DrawContext, TextAlignsOnItsReferencePoint) {
    const FontSpec font{13, 400, 0};
    QImage probe = Canvas(10, 10);
    const QSize extent = CDrawContext(probe).TextExtent("Wide", font);
    ASSERT_GT(extent.width(), 10);
    EXPECT_GE(extent.height(), 13);

    const QRgb black = 0xFF000000u;
    QImage left = Canvas(200, 60), right = Canvas(200, 60), centre = Canvas(200, 60);
    {
        CDrawContext dc(left);
        dc.Text(100, 20, "Wide", font, 0xFFFFFF);
    }
    {
        CDrawContext dc(right);
        dc.Text(100, 20, "Wide", font, 0xFFFFFF, AlignRight | AlignBaseline);
    }
    {
        CDrawContext dc(centre);
        dc.Text(100, 20, "Wide", font, 0xFFFFFF, AlignHCentre);
    }
    const QRect l = Inked(left, black), r = Inked(right, black), c = Inked(centre, black);
    EXPECT_GE(l.left(), 99);
    EXPECT_GE(l.top(), 20);
    EXPECT_LE(r.right(), 101);
    EXPECT_LE(r.bottom(), 22); // only descenders reach below a baseline
    EXPECT_LT(c.left(), 100);
    EXPECT_GT(c.right(), 100);
}

TEST(DrawContext, TurnedTextRunsUpAndOpaqueTextFillsItsBox) {
    QImage up = Canvas(60, 120);
    {
        CDrawContext dc(up);
        dc.Text(20, 100, "Turned", FontSpec{14, 400, 900}, 0xFFFFFF);
    }
    const QRect box = Inked(up, 0xFF000000u);
    EXPECT_GT(box.height(), box.width()); // written bottom to top
    EXPECT_LE(box.bottom(), 101);
    EXPECT_GE(box.left(), 19);

    QImage down = Canvas(60, 120);
    {
        CDrawContext dc(down);
        dc.Text(40, 10, "Turned", FontSpec{14, 400, -900}, 0xFFFFFF);
    }
    const QRect fall = Inked(down, 0xFF000000u);
    EXPECT_GT(fall.height(), fall.width()); // written top to bottom, its top towards the right
    EXPECT_GE(fall.top(), 9);
    EXPECT_LE(fall.right(), 41);
    EXPECT_LT(fall.left(), 40);

    QImage filled = Canvas(100, 30);
    {
        CDrawContext dc(filled);
        dc.Text(5, 5, "Cut", FontSpec{}, 0xFFFFFF, AlignLeftTop, 0x0000FF);
    }
    EXPECT_EQ(At(filled, 5, 5), 0xFFFF0000u);
    EXPECT_EQ(At(filled, 4, 5), 0xFF000000u);
}

// The same drawing once straight into the pixels and once through the painter (a clip covering
// the whole image keeps the painter in charge) must give the same image.
void DrawScene(CDrawContext& dc) {
    QImage indexed(5, 3, QImage::Format_Indexed8);
    indexed.setColorTable({qRgb(200, 10, 10), qRgb(10, 200, 10), qRgb(10, 10, 200)});
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            indexed.setPixel(x, y, uint((x + y) % 3));
    dc.GradientRect({-5, 2, 30, 40}, 0x78C8A0, 0x7F2F2F);
    dc.FillRect({20, 30, 70, 90}, 0x123456);
    for (int x = 0; x < 60; x += 3) {
        dc.Line(x, 0, x, 10 + x / 2, 0xFFFFFF);
        dc.Line(x + 1, 63, x + 1, 40 - x / 3, 0x0000FF);
    }
    dc.Line(-10, 50, 100, 50, 0x00FF00);
    dc.StretchCopy(indexed, {1, 0, 5, 3}, {30, -4, 75, 21});
    dc.StretchCopy(indexed, {0, 0, 5, 3}, {2, 44, 13, 51});
    // XOR lines: up and down, dashed, reaching far outside, over each other, slanted.
    dc.XorLine(20, -100000, 20, 1000000);
    dc.XorLine(21, 60, 21, 2, 0xFFFFFF, LineStyle::Dash);
    dc.XorLine(22, 0, 22, 64, 0x00FF00, LineStyle::Dash);
    dc.XorLine(70, 10, -5, 10, 0xFFFFFF);
    dc.XorLine(20, 30, 20, 30);
    dc.XorLine(1, 2, 40, 50, 0xFFFFFF, LineStyle::Dash);
}

TEST(DrawContext, DirectWritesMatchThePainter) {
    for (const QImage::Format format : {QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied}) {
        QImage direct(64, 64, format), painted(64, 64, format);
        direct.fill(0xFF202020u);
        painted.fill(0xFF202020u);
        {
            CDrawContext dc(direct);
            DrawScene(dc);
        }
        {
            CDrawContext dc(painted);
            dc.Painter().setClipRect(painted.rect());
            DrawScene(dc);
        }
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x)
                ASSERT_EQ(direct.pixel(x, y), painted.pixel(x, y)) << format << ":" << x << "," << y;
    }
}

} // namespace
} // namespace tw
