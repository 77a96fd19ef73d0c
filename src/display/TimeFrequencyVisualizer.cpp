#include "display/TimeFrequencyVisualizer.h"
#include "display/DrawContext.h"

#include "core/EditedMedia.h"
#include "display/SpectrogramPalette.h"
#include "storage/FormatTime.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace tw {

namespace {

constexpr ColorRef kBackground = 0x000000;
constexpr ColorRef kPastEnd = 0xFFFFFF;
constexpr ColorRef kLaneSeparator = 0x7F7F7F;
constexpr float kKaiserAlpha = 0.2f;
// Bounds on what a caller may ask for, so that a wild value costs a capped amount of memory
// rather than the process: 65,536 points and 16,384 columns.
constexpr int kMaxFftOrder = 16;
constexpr int kMaxImageWidth = 16384;
// The screen width assumed when no screen can be asked (no application object, or headless).
constexpr int kFallbackScreenWidth = 1920;

// Opaque 0xAARRGGBB values of a palette, as a 32-bit target image stores them.
std::array<uint32_t, 256> OpaqueTable(const SpectrogramPalette& palette) {
    std::array<uint32_t, 256> table{};
    for (size_t i = 0; i < palette.size(); ++i)
        table[i] = 0xFF000000u | (uint32_t{palette[i].red} << 16) | (uint32_t{palette[i].green} << 8) |
                   palette[i].blue;
    return table;
}

const std::array<uint32_t, 256>& BaseTable() {
    static const std::array<uint32_t, 256> table = OpaqueTable(BaseSpectrogramPalette());
    return table;
}

const std::array<uint32_t, 256>& SelectedTable() {
    static const std::array<uint32_t, 256> table = OpaqueTable(SelectedSpectrogramPalette());
    return table;
}

bool IsDirect32(QImage::Format format) {
    return format == QImage::Format_RGB32 || format == QImage::Format_ARGB32 ||
           format == QImage::Format_ARGB32_Premultiplied;
}

} // namespace

CSpectrogramVisualizer::CSpectrogramVisualizer(CEditedMedia* media, bool mergeChannels, bool wavelet)
    : CVisualizer(media, mergeChannels), m_wavelet(wavelet), m_imageWidth(wavelet ? 250 : 320),
      m_imageHeight(wavelet ? 60 : 129) {
    m_dsp.InitFFT(m_fftSize);
    MakeWindow();
    MakeImages();
}

CSpectrogramVisualizer::~CSpectrogramVisualizer() = default;

void CSpectrogramVisualizer::MakeWindow() {
    m_window.assign(static_cast<size_t>(m_fftSize), 0.0f);
    m_dsp.Window(m_window.data(), kKaiserAlpha, m_fftSize);
}

void CSpectrogramVisualizer::MakeImages() {
    const QList<QRgb> colours = ToColorTable(BaseSpectrogramPalette());
    for (QImage& image : m_images) {
        image = QImage(m_imageWidth, m_imageHeight, QImage::Format_Indexed8);
        image.setColorTable(colours);
        image.fill(0);
    }
}

void CSpectrogramVisualizer::SetFftSize(int size) {
    int order = 0;
    while ((1 << order) < size && order < kMaxFftOrder)
        ++order;
    m_fftOrder = order;
    m_fftSize = 1 << order;
    m_dsp.InitFFT(m_fftSize);
    MakeWindow();
    m_imageHeight = m_fftSize / 2 + 1;
    MakeImages();
    m_dirty = true;
}

void CSpectrogramVisualizer::SetImageWidth(int width) {
    m_imageWidth = std::clamp(width, 1, kMaxImageWidth);
    MakeImages();
    m_dirty = true;
}

void CSpectrogramVisualizer::Refresh() {
    CVisualizer::Refresh();
    m_dirty = true;
}

int CSpectrogramVisualizer::OctaveCount(int64_t rate) {
    double top = 220.0;
    int octaves = 0;
    while (top < static_cast<double>(rate) / 4.0) {
        top *= 2.0;
        ++octaves;
    }
    return octaves;
}

double CSpectrogramVisualizer::WaveletTop(int64_t rate) {
    return 220.0 * static_cast<double>(1 << OctaveCount(rate));
}

int CSpectrogramVisualizer::WaveletLength(int64_t rate) {
    if (rate <= 0)
        return 0;
    const double f0 = 220.0 / static_cast<double>(rate);
    return static_cast<int>(std::min(10000.0, 9.0 / f0));
}

std::string CSpectrogramVisualizer::NoteName(int octaves, double fraction) {
    // A pointer off the lane (or a NaN) names the nearest edge.
    fraction = std::isnan(fraction) ? 0.0 : std::clamp(fraction, 0.0, 1.0);
    static const char* const kNames[12] = {"A%d",  "Bb%d", "B%d", "C%d",  "C#%d", "D%d",
                                           "D#%d", "E%d",  "F%d", "F#%d", "G%d",  "G#%d"};
    const int octave = static_cast<int>(octaves * fraction);
    int semitone = static_cast<int>(octaves * fraction * 12.0) % 12;
    if (semitone < 0)
        semitone += 12;
    char text[32];
    std::snprintf(text, sizeof text, kNames[semitone], octave);
    return text;
}

double CSpectrogramVisualizer::GetAxisMaximum() {
    const int64_t rate = m_format.nSamplesPerSec;
    return m_wavelet ? OctaveCount(rate) : static_cast<double>(rate) / 2.0;
}

std::string CSpectrogramVisualizer::GetAxisTitle() {
    return m_wavelet ? "Frequency (Octave)" : "Frequency (Hz)";
}

std::string CSpectrogramVisualizer::GetStatusText(int64_t frame, double yFraction) {
    if (const WAVEFORMATEX* format = m_media != nullptr ? m_media->GetFormat() : nullptr)
        m_format = *format;
    const int64_t rate = m_format.nSamplesPerSec;
    yFraction = std::isnan(yFraction) ? 0.0 : std::clamp(yFraction, 0.0, 1.0);
    std::string frequency;
    if (m_wavelet) {
        frequency = NoteName(OctaveCount(rate), yFraction);
    } else {
        char text[32];
        std::snprintf(text, sizeof text, "%d Hz",
                      static_cast<int>(static_cast<double>(rate) * yFraction * 0.5));
        frequency = text;
    }
    return FormatTime(frame, rate) + ", " + frequency;
}

int64_t CSpectrogramVisualizer::GetMinimumLength() {
    int screenWidth = kFallbackScreenWidth;
    if (QGuiApplication::instance() != nullptr) {
        if (const QScreen* screen = QGuiApplication::primaryScreen())
            screenWidth = screen->geometry().width();
    }
    return static_cast<int64_t>(static_cast<double>(screenWidth) / m_imageWidth + 1.0);
}

void CSpectrogramVisualizer::UpdateImage(const CSection& view) {
    if ((!m_dirty && view == m_cached) || m_media == nullptr || m_images[0].isNull())
        return;
    const WAVEFORMATEX* format = m_media->GetFormat();
    if (format == nullptr)
        return;
    m_format = *format;
    m_cached = view;
    const int channels = std::min<int>(m_format.nChannels, kMaxChannels);
    const CSection clipped(std::max<int64_t>(view.m_start, 0), std::min(view.m_end, m_media->GetLength()));
    if (clipped.SectionLength() <= 0 || channels <= 0) {
        for (QImage& image : m_images)
            image.fill(0);
    } else if (m_wavelet) {
        ComputeWavelet(clipped, channels);
    } else {
        ComputeSpectrogram(clipped, channels);
    }
    m_dirty = false;
}

void CSpectrogramVisualizer::Draw(CDrawContext& dc, const PixelRect& rect, const CSection& view,
                                  const CSection& selection, int64_t origin, bool focused) {
    const WAVEFORMATEX* format = m_media != nullptr ? m_media->GetFormat() : nullptr;
    const int64_t length = m_media != nullptr ? m_media->GetLength() : 0;
    if (format == nullptr || length <= 0 || format->nChannels == 0) {
        dc.FillRect(rect, kBackground);
        return;
    }
    m_format = *format;
    if (view.SectionLength() < 2 * static_cast<int64_t>(m_fftSize) || rect.Width() <= 0 || rect.Height() <= 0)
        return;

    UpdateImage(view);
    const int lanes = m_merge ? 1 : std::min<int>(m_format.nChannels, kMaxChannels);

    const double width = rect.Width();
    const double viewLength = static_cast<double>(view.SectionLength());
    const auto pixelOf = [&](int64_t position) {
        const double x = rect.left + static_cast<double>(position - view.m_start) * width / viewLength + 0.5;
        return static_cast<int>(
            std::clamp(x, static_cast<double>(rect.left), static_cast<double>(rect.right)));
    };
    const int x3 = pixelOf(length);
    const double pixelsPerColumn = static_cast<double>(x3 - rect.left) / m_imageWidth;
    int x1 = pixelOf(selection.m_start);
    int x2 = pixelOf(selection.m_end);
    if (x1 == x2 && x2 > rect.left)
        x2 += static_cast<int>(pixelsPerColumn + 1.0);
    x1 = std::clamp(x1, rect.left, rect.right);
    x2 = std::clamp(x2, rect.left, rect.right);

    if (x3 < rect.right)
        dc.FillRect(PixelRect{x3, rect.top, rect.right, rect.bottom}, kPastEnd);
    for (int c = 0; c < lanes; ++c) {
        const int top = rect.top + rect.Height() * c / lanes;
        const int bottom = rect.top + rect.Height() * (c + 1) / lanes;
        StretchLane(dc, m_images[static_cast<size_t>(c)], top, bottom, rect.left, x3, x1, x2,
                    pixelsPerColumn);
    }
    for (int c = 1; c < lanes; ++c) {
        const int y = rect.top + rect.Height() * c / lanes;
        dc.Line(rect.left, y, rect.right, y, kLaneSeparator);
    }
    DrawOverlays(dc, rect, view);
}

void CSpectrogramVisualizer::StretchLane(CDrawContext& dc, const QImage& image, int top, int bottom, int left,
                                         int right, int x1, int x2, double pixelsPerColumn) const {
    QImage& target = dc.Image();
    // Only what lies on the target is painted.
    const int from = std::max(left, 0);
    const int to = std::min(right, target.width());
    const int rowFrom = std::max(top, 0);
    const int rowTo = std::min(bottom, target.height());
    if (from >= to || rowFrom >= rowTo || pixelsPerColumn <= 0.0)
        return;

    // One row of colours per image row, picked column by column: the image column of a pixel is
    // its offset over the pixels per column, rounded; the selection's pixels take the lighter table.
    const int span = to - from;
    std::vector<int> columns(static_cast<size_t>(span));
    const auto& base = BaseTable();
    const auto& selected = SelectedTable();
    std::vector<const uint32_t*> tables(static_cast<size_t>(span));
    for (int i = 0; i < span; ++i) {
        const int x = from + i;
        const int column = static_cast<int>((x - left) / pixelsPerColumn + 0.5);
        columns[static_cast<size_t>(i)] = std::clamp(column, 0, m_imageWidth - 1);
        tables[static_cast<size_t>(i)] = (x >= x1 && x < x2) ? selected.data() : base.data();
    }

    QImage scratch;
    const bool direct = IsDirect32(target.format());
    if (!direct)
        scratch = QImage(span, rowTo - rowFrom, QImage::Format_RGB32);
    const int laneHeight = bottom - top;
    int lastRow = -1;
    uint32_t* lastLine = nullptr;
    for (int y = rowFrom; y < rowTo; ++y) {
        uint32_t* line = direct ? reinterpret_cast<uint32_t*>(target.scanLine(y)) + from
                                : reinterpret_cast<uint32_t*>(scratch.scanLine(y - rowFrom));
        // Scan line 0 of the image is its top (highest) row.
        const int row = static_cast<int>(static_cast<int64_t>(y - top) * m_imageHeight / laneHeight);
        if (row == lastRow && lastLine != nullptr) {
            std::memcpy(line, lastLine, static_cast<size_t>(span) * sizeof(uint32_t));
            continue;
        }
        const uchar* source = image.constScanLine(row);
        for (int i = 0; i < span; ++i)
            line[i] = tables[static_cast<size_t>(i)][source[columns[static_cast<size_t>(i)]]];
        lastRow = row;
        lastLine = line;
    }
    if (!direct)
        dc.Painter().drawImage(from, rowFrom, scratch);
}

} // namespace tw
