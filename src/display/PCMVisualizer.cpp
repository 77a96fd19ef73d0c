#include "display/PCMVisualizer.h"
#include "display/DrawContext.h"

#include "core/EditedMedia.h"
#include "core/PeakData.h"
#include "storage/FormatTime.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>

namespace tw {

namespace {

// A vertical gradient's colour on `row` of `height` rows, as CDrawContext::GradientRect computes
// it, so that the lanes painted directly match those painted through the context.
QRgb GradientRow(ColorRef top, ColorRef bottom, int row, int height) {
    const int span = std::max(1, height - 1);
    auto channel = [&](int shift) {
        const int a = int((top >> shift) & 0xFF), b = int((bottom >> shift) & 0xFF);
        return ColorRef(a + (b - a) * row / span) << shift;
    };
    return ToQColor(channel(0) | channel(8) | channel(16)).rgb() | 0xFF000000u;
}

QRgb Opaque(ColorRef colour) {
    return ToQColor(colour).rgb() | 0xFF000000u;
}

bool DirectlyPaintable(CDrawContext& dc) {
    const QImage::Format format = dc.Image().format();
    const bool plain = format == QImage::Format_RGB32 || format == QImage::Format_ARGB32 ||
                       format == QImage::Format_ARGB32_Premultiplied;
    const QPainter& painter = dc.Painter();
    return plain && !painter.hasClipping() && painter.worldTransform().isIdentity() &&
           painter.compositionMode() == QPainter::CompositionMode_SourceOver;
}

float Clip(float value) {
    if (std::isnan(value))
        return 0.0f;
    return std::clamp(value, -1.0f, 1.0f);
}

} // namespace

WavePalette MakeWavePalette(int32_t appearance, bool highContrast) {
    if (highContrast) {
        const ColorRef window = SystemColor(5), highlight = SystemColor(0xD),
                       highlightText = SystemColor(0xE);
        return WavePalette{window, highlight,      highlightText,  highlightText,
                           window, SystemColor(8), SystemColor(8), SystemColor(0xF)};
    }
    if (appearance != 0) {
        return WavePalette{SystemColor(3), SystemColor(0xD),  SystemColor(0xF), SystemColor(0x10),
                           SystemColor(5), SystemColor(0x1B), SystemColor(2),   SystemColor(0xF)};
    }
    return WavePalette{0xD4D4D4, 0xFFFFFF, 0x7F2F2F, 0x7F2F2F, 0x000000, 0xA0C878, 0xA0C878, 0x7F7F7F};
}

CPCMVisualizer::CPCMVisualizer(CEditedMedia* media, bool mergeChannels) : CVisualizer(media, mergeChannels) {
    m_palette = MakeWavePalette(m_appearance, m_highContrast);
}

CPCMVisualizer::~CPCMVisualizer() = default;

void CPCMVisualizer::Refresh() {
    const int32_t appearance = m_appearance;
    const bool highContrast = m_highContrast;
    CVisualizer::Refresh();
    if (appearance != m_appearance || highContrast != m_highContrast)
        m_palette = MakeWavePalette(m_appearance, m_highContrast);
    m_peaks.reset();
    m_peaksTried = false;
}

void CPCMVisualizer::Draw(CDrawContext& dc, const PixelRect& rect, const CSection& view,
                          const CSection& selection, int64_t origin, bool focused) {
    if (rect.Width() <= 0 || rect.Height() <= 0)
        return;
    if (m_media == nullptr || m_media->IsEmpty()) {
        dc.FillRect(rect, m_palette.background);
        return;
    }
    if (const WAVEFORMATEX* format = m_media->GetFormat())
        m_format = *format;
    if (view != m_cacheSection || rect.Width() != m_cacheWidth || rect.Height() != m_cacheHeight) {
        m_cacheSection = view;
        m_cacheWidth = rect.Width();
        m_cacheHeight = rect.Height();
        Refresh();
    }

    const int64_t length = m_media->GetLength();
    int x1 = PixelOf(selection.m_start, rect, view);
    int x2 = PixelOf(selection.m_end, rect, view);
    // The document's end counts its last frame as a whole pixel: the divisor is one short.
    int laneRight = rect.right;
    const int64_t viewLength = view.SectionLength();
    if (viewLength > 1) {
        const int64_t x3 = rect.left + (length - view.m_start) * rect.Width() / (viewLength - 1);
        if (x3 < rect.right) {
            laneRight = static_cast<int>(std::max<int64_t>(x3, rect.left));
            dc.FillRect(PixelRect{laneRight, rect.top, rect.right, rect.bottom}, m_palette.background);
        }
    }
    if (x1 == x2)
        ++x2;
    x1 = std::clamp(x1, rect.left, rect.right);
    x2 = std::clamp(x2, rect.left, rect.right);

    const CSection shown(view.m_start, std::min(view.m_end, length));
    if (shown.SectionLength() >= 2) {
        const int channels = std::max<int>(1, m_format.nChannels);
        const int lanes = m_merge ? 1 : channels;
        for (int c = 0; c < lanes; ++c) {
            const PixelRect lane{rect.left, rect.top + rect.Height() * c / lanes, laneRight,
                                 rect.top + rect.Height() * (c + 1) / lanes};
            DrawLane(dc, c, lane, x1, x2, focused);
        }
        for (int c = 1; c < lanes; ++c) {
            const int y = rect.top + rect.Height() * c / lanes;
            dc.Line(rect.left, y, rect.right, y, m_palette.separator);
        }
    }
    DrawOverlays(dc, rect, view);
}

void CPCMVisualizer::DrawLane(CDrawContext& dc, int channel, const PixelRect& lane, int x1, int x2,
                              bool focused) {
    if (lane.Width() <= 0 || lane.Height() <= 0)
        return;
    if (!m_peaksTried) {
        m_peaksTried = true;
        const CSection section(m_cacheSection.m_start, std::min(m_cacheSection.m_end, m_media->GetLength()));
        if (section.SectionLength() < 2)
            return;
        m_peaks.reset(m_media->ReadPeakColumns(section, lane.Width()));
        ++m_peakReads;
    }

    // Without columns the lane stays all wave colour, the gradient unpainted by background.
    const int H = lane.Height();
    const int width = lane.Width();
    m_columns.resize(static_cast<size_t>(width));
    int previousTop = INT_MIN / 2, previousBottom = INT_MAX / 2;
    for (int x = 0; x < width; ++x) {
        int yTop = lane.top, yBottom = lane.bottom;
        if (m_peaks != nullptr && x < m_peaks->GetCount()) {
            float minimum = 0.0f, maximum = 0.0f;
            ColumnExtremes(x, channel, &minimum, &maximum);
            yBottom = lane.top - static_cast<int>((minimum * 0.5 - 0.5) * H);
            yTop = lane.top - static_cast<int>((maximum * 0.5 - 0.5) * H);
            // Neighbouring columns overlap by a pixel at least, so that steep edges stay one line.
            if (yBottom < previousTop - 1)
                yBottom = previousTop - 1;
            if (yTop > previousBottom + 1)
                yTop = previousBottom + 1;
            previousTop = yTop;
            previousBottom = yBottom;
        }
        m_columns[static_cast<size_t>(x)] = LaneColumn{yTop, yBottom};
    }
    PaintLane(dc, lane, x1, x2, focused ? m_palette.selectedFocused : m_palette.selectedInactive);
}

void CPCMVisualizer::ColumnExtremes(int column, int channel, float* minimum, float* maximum) const {
    const PeakPair* row = m_peaks->Row(column);
    const int channels = m_peaks->GetChannels();
    float lo, hi;
    if (m_merge) {
        lo = row[0].minimum;
        hi = row[0].maximum;
        for (int c = 1; c < channels; ++c) {
            lo = std::min(lo, row[c].minimum);
            hi = std::max(hi, row[c].maximum);
        }
    } else {
        const int c = std::min(channel, channels - 1);
        lo = row[c].minimum;
        hi = row[c].maximum;
    }
    *minimum = Clip(lo * m_gain);
    *maximum = Clip(hi * m_gain);
}

// The gradients are the wave; background is painted above and below each column's extremes.
// Straight into the image's rows where the context allows it (one pass, the same pixels as
// painting the gradients and then the column lines), through the context's lines otherwise.
void CPCMVisualizer::PaintLane(CDrawContext& dc, const PixelRect& lane, int x1, int x2,
                               ColorRef selectedBack) {
    const int H = lane.Height();
    const int sel1 = std::clamp(x1, lane.left, lane.right) - lane.left;
    const int sel2 = std::clamp(x2, lane.left, lane.right) - lane.left;
    QImage& image = dc.Image();
    const PixelRect visible{std::max(lane.left, 0), std::max(lane.top, 0),
                            std::min(lane.right, image.width()), std::min(lane.bottom, image.height())};

    if (!DirectlyPaintable(dc)) {
        dc.GradientRect(lane, m_palette.waveTop, m_palette.waveBottom);
        if (sel2 > sel1)
            dc.GradientRect(PixelRect{lane.left + sel1, lane.top, lane.left + sel2, lane.bottom},
                            m_palette.selectedWaveTop, m_palette.selectedWaveBottom);
        for (int x = 0; x < lane.Width(); ++x) {
            const LaneColumn& column = m_columns[static_cast<size_t>(x)];
            const ColorRef pen = x >= sel1 && x < sel2 ? selectedBack : m_palette.background;
            dc.Line(lane.left + x, lane.top, lane.left + x, column.top, pen);
            dc.Line(lane.left + x, column.bottom + 1, lane.left + x, lane.bottom, pen);
        }
        return;
    }
    if (visible.Width() <= 0 || visible.Height() <= 0)
        return;

    const QRgb back = Opaque(m_palette.background);
    const QRgb selBack = Opaque(selectedBack);
    const LaneColumn* columns = m_columns.data();
    for (int y = visible.top; y < visible.bottom; ++y) {
        const int row = y - lane.top;
        const QRgb wave = GradientRow(m_palette.waveTop, m_palette.waveBottom, row, H);
        const QRgb selWave = GradientRow(m_palette.selectedWaveTop, m_palette.selectedWaveBottom, row, H);
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        auto span = [&](int from, int to, QRgb inside, QRgb outside) {
            for (int x = from; x < to; ++x) {
                const LaneColumn c = columns[x - lane.left];
                line[x] = y >= c.top && y <= c.bottom ? inside : outside;
            }
        };
        const int a = std::clamp(lane.left + sel1, visible.left, visible.right);
        const int b = std::clamp(lane.left + sel2, visible.left, visible.right);
        span(visible.left, a, wave, back);
        span(a, b, selWave, selBack);
        span(b, visible.right, wave, back);
    }
}

std::string CPCMVisualizer::GetStatusText(int64_t frame, double yFraction) {
    std::string amplitude;
    if (yFraction == 0.5) {
        amplitude = "Amplitude: - Inf. dB";
    } else {
        const double a = std::fabs(2.0 * yFraction - 1.0);
        const double db = a == 0.0 ? -144.0 : 20.0 * std::log10(a);
        char text[64];
        std::snprintf(text, sizeof text, "Amplitude: %.1f dB", db);
        amplitude = text;
    }
    if (m_format.nSamplesPerSec == 0)
        return amplitude;
    return "Position: " + FormatTime(frame, m_format.nSamplesPerSec) + ", " + amplitude;
}

int CPCMVisualizer::ValueToY(double value, int channel, const PixelRect& rect) const {
    const int channels = m_merge ? 1 : std::max<int>(1, m_format.nChannels);
    const double clipped = std::clamp(value * m_gain, -1.0, 1.0);
    return rect.top +
           static_cast<int>(((rect.bottom - rect.top) / channels) * ((1.0 - clipped) * 0.5 + channel));
}

} // namespace tw
