// The time-frequency painter: the document as a picture of intensities, one lane per channel, in
// one of two modes chosen at construction. The spectrogram runs a windowed FFT per image column
// and shows the bins on a linear axis from 0 Hz to half the rate; the wavelet plot correlates
// each column with a Gaussian-windowed complex tone stretched row by row, from 220 Hz up by equal
// ratios to the highest octave below a quarter of the rate, so that its axis counts octaves.
//
// Either way the picture is a small fixed bitmap per channel (its cost does not grow with the
// view's length or the window's size), computed when the section or a setting changes and
// stretched over the lanes at every paint; a change of selection only repaints.
#pragma once

#include "display/Visualizer.h"
#include "dsp/DspWrapper.h"

#include <QImage>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CSpectrogramVisualizer : public CVisualizer {
public:
    static constexpr int kMaxChannels = 8;

    // `wavelet` picks the wavelet plot, otherwise the spectrogram.
    CSpectrogramVisualizer(CEditedMedia* media, bool mergeChannels, bool wavelet);
    ~CSpectrogramVisualizer() override;

    void Draw(CDrawContext& dc, const PixelRect& rect, const CSection& view, const CSection& selection,
              int64_t origin, bool focused) override;
    int GetType() const override { return m_wavelet ? 3 : 2; }
    // The time of the frame, ", " and the frequency at the fraction (0 at the bottom): "%d Hz" in
    // the spectrogram, a note name with its octave in the wavelet plot.
    std::string GetStatusText(int64_t frame, double yFraction) override;
    // Enough frames that no image column spans less than a pixel of the screen's width.
    int64_t GetMinimumLength() override;
    void Refresh() override;
    double GetAxisMinimum() override { return 0.0; }
    double GetAxisMaximum() override;
    std::string GetAxisTitle() override;

    // Computes the bitmaps for `view` unless they were made for it and nothing changed since;
    // Draw calls it. Part of the view behind the document's end is left at index 0.
    void UpdateImage(const CSection& view);

    // Rounds up to a power of two (1 for anything up to 1, at most 65,536); the image gets
    // size / 2 + 1 rows.
    void SetFftSize(int size);
    // 1 to 16,384 columns.
    void SetImageWidth(int width);

    bool IsWavelet() const { return m_wavelet; }
    int GetFftSize() const { return m_fftSize; }
    int GetFftOrder() const { return m_fftOrder; }
    int GetImageWidth() const { return m_imageWidth; }
    int GetImageHeight() const { return m_imageHeight; }
    // The intensity bitmap of a channel (8-bit indexes with the base palette as colour table);
    // scan line 0 is the highest frequency, so the image reads as it is drawn. A channel outside
    // 0 to 7 gives the nearest one.
    const QImage& GetImage(int channel) const {
        return m_images[static_cast<size_t>(std::clamp(channel, 0, kMaxChannels - 1))];
    }

    // Octaves above 220 Hz below a quarter of `rate`: the wavelet plot's top row lies that many
    // octaves up. 6 at 44,100 Hz.
    static int OctaveCount(int64_t rate);
    // 220 Hz doubled while below a quarter of `rate`: the wavelet plot's top frequency.
    static double WaveletTop(int64_t rate);
    // The length of the mother wavelet at `rate`: nine periods of 220 Hz, at most 10,000 frames.
    static int WaveletLength(int64_t rate);
    // "A%d", "Bb%d", ... of the note at `fraction` of the wavelet plot's height.
    static std::string NoteName(int octaves, double fraction);

private:
    // (Re)allocates the eight bitmaps at the current size, all with the base colour table.
    void MakeImages();
    void MakeWindow();
    // Fills the bitmaps for `section` (already clipped to the document's end).
    void ComputeSpectrogram(const CSection& section, int channels);
    void ComputeWavelet(const CSection& section, int channels);
    // The wavelet and its stretched copies, one per image row, for `rate`; kept until the rate,
    // the image height or the size of the wavelet changes.
    void PrepareWavelet(int64_t rate);
    // Gathers channel `channel` (or the mean of all when merged) of `frames` interleaved frames.
    void Deinterleave(const float* interleaved, int frames, int channels, int channel, float* dest) const;
    // Paints lane [top, bottom) of `image` over columns [left, right) of the target.
    void StretchLane(CDrawContext& dc, const QImage& image, int top, int bottom, int left, int right, int x1,
                     int x2, double pixelsPerColumn) const;

    bool m_wavelet;
    int m_fftSize = 256;
    int m_fftOrder = 8;
    int m_imageWidth;
    int m_imageHeight;
    std::array<QImage, kMaxChannels> m_images;
    std::vector<float> m_window;
    CDspWrapper m_dsp;
    CSection m_cached;
    bool m_dirty = true;

    // Work buffers, reused from column to column.
    std::vector<float> m_frameBuffer;
    std::vector<float> m_channelBuffer;
    std::vector<float> m_magnitudes; // per image row: the levels of one column
    std::vector<uint8_t> m_indexes;

    // Wavelet: the mother wavelet's length and norm for the rate it was made for, and per image
    // row the stretched real and imaginary parts (row r starts at m_rowOffsets[r] and holds
    // m_rowLengths[r] values).
    int64_t m_waveletRate = 0;
    int m_waveletRows = 0;
    int m_waveletLength = 0;
    double m_waveletNorm = 0.0;
    std::vector<float> m_stretchedRe, m_stretchedIm;
    std::vector<size_t> m_rowOffsets;
    std::vector<int> m_rowLengths;
};

} // namespace tw
