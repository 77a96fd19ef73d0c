// The wave plot: per channel lane, the minimum and maximum of each pixel column's frames as a
// vertical gradient, with the selection in its own colours. The columns come from the document's
// peak reading once per change of view section or size; a repaint, a moved cursor or a changed
// selection draws from that cache alone, which is why the selection is not part of its key.
#pragma once

#include "display/Visualizer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tw {

class CPeakData;

// The colours of the wave plot, 0x00BBGGRR.
struct WavePalette {
    ColorRef selectedInactive;
    ColorRef selectedFocused;
    ColorRef selectedWaveTop;
    ColorRef selectedWaveBottom;
    ColorRef background;
    ColorRef waveTop;
    ColorRef waveBottom;
    ColorRef separator;
};

// The default (green on black), high-contrast or platform palette: `appearance` 0 picks the
// default, anything else the platform's colours; high contrast wins over both.
WavePalette MakeWavePalette(int32_t appearance, bool highContrast);

class CPCMVisualizer : public CVisualizer {
public:
    CPCMVisualizer(CEditedMedia* media, bool mergeChannels);
    ~CPCMVisualizer() override;

    void Draw(CDrawContext& dc, const PixelRect& rect, const CSection& view, const CSection& selection,
              int64_t origin, bool focused) override;
    int GetType() const override { return 1; }
    // "Position: <time>, Amplitude: <level> dB", the position left out without a sample rate.
    std::string GetStatusText(int64_t frame, double yFraction) override;
    // Takes the format and the appearance again and drops the peak cache.
    void Refresh() override;
    double GetAxisMinimum() override { return -100.0 / GetGain(); }
    double GetAxisMaximum() override { return 100.0 / GetGain(); }
    std::string GetAxisTitle() override { return "Amplitude (%)"; }

    // The y of a sample value in `channel`'s lane of `rect`, after gain and clipping (for cursors).
    int ValueToY(double value, int channel, const PixelRect& rect) const;

    const WavePalette& GetPalette() const { return m_palette; }
    // How many peak reads the cache has made: one per change of section or size.
    int GetPeakReads() const { return m_peakReads; }

private:
    struct LaneColumn {
        int top;    // first wave row
        int bottom; // last wave row
    };

    void DrawLane(CDrawContext& dc, int channel, const PixelRect& lane, int x1, int x2, bool focused);
    // The extremes of column `x` of the cache for `channel` (all channels when merged), times gain
    // and clipped.
    void ColumnExtremes(int column, int channel, float* minimum, float* maximum) const;
    void PaintLane(CDrawContext& dc, const PixelRect& lane, int x1, int x2, ColorRef selectedBack);

    WavePalette m_palette{};
    std::unique_ptr<CPeakData> m_peaks;
    bool m_peaksTried = false;
    int m_peakReads = 0;
    CSection m_cacheSection{-1, -1};
    int m_cacheWidth = -1;
    int m_cacheHeight = -1;
    std::vector<LaneColumn> m_columns; // the lane being drawn, per pixel column
};

} // namespace tw
