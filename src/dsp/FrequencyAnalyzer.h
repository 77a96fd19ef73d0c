// The logic of the spectrum analyzer bar: the magnitude spectrum of 256 frames, of the document
// around its cursor while it rests, or of what the output device is playing. Each of the first two
// channels becomes one curve of levels (see CSpectrumCurves), which the analyzer publishes to its
// frame through the presentation, and only while the bar shows: a hidden bar costs nothing.
//
// Lives on the document's thread, like the frame that owns it. It owns its FFT and window.
#pragma once

#include "dsp/DspWrapper.h"
#include "platform/Presentation.h"

#include <tidework/wavefmt.h>

#include <cstdint>
#include <vector>

namespace tw {

class CEditedMedia;

class CSpectAnalyzer {
public:
    static constexpr int kFFTSize = 256;
    static constexpr float kWindowAlpha = 0.2f;
    static constexpr int kCurves = 2;
    // The level of a bin of no energy: -144 dB on the bar's scale.
    static constexpr float kSilentLevel = (-144.0f + 100.0f) / 100.0f;

    CSpectAnalyzer();

    // The frame the curves are published to (0: nowhere).
    void SetFrame(WindowHandle frame) { m_frame = frame; }
    // Whether the bar shows; while it does not, nothing is analysed or published.
    void SetVisible(bool visible) { m_visible = visible; }
    bool IsVisible() const { return m_visible; }

    // Analyses `size` frames of the document as it plays (events, cross-fades and transforms) from
    // `position`, or the last `size` frames when fewer than that follow it, and publishes them.
    // False, with nothing published, while the bar is hidden or when the document holds fewer
    // frames than one FFT. Not while the document plays: its transforms are then the play thread's.
    bool ShowSpectrumAt(CEditedMedia& media, int64_t position);
    // The position ShowSpectrumAt last looked at while the bar showed; -1 when the last spectrum
    // came from the output (Feed) or there was none.
    int64_t LastPosition() const { return m_lastPosition; }

    // Analyses interleaved floats of `format`'s channel count, as the output device's meter buffer
    // holds them: `frames` frames, the first `size` of which are used (fewer are padded with
    // silence). False while the bar is hidden or for a format without channels. Publish sends the
    // result; the two are apart so that a caller can read a device's buffer under its lock and
    // publish after letting go of it.
    bool Analyse(const float* interleaved, int64_t frames, const WAVEFORMATEX& format);
    void Publish();
    // Analyse and Publish in one.
    bool Feed(const float* interleaved, int64_t frames, const WAVEFORMATEX& format);

    // The curves of the last analysis (published or not).
    const CSpectrumCurves& Curves() const { return m_curves; }
    int GetSize() const { return m_size; }

private:
    // One curve from the deinterleaved samples in m_scratch.
    void Transform(std::vector<float>& curve);
    void AnalyseChannels(const float* interleaved, int64_t frames, int channels, int32_t rate);

    CDspWrapper m_dsp;
    int m_size = kFFTSize;
    std::vector<float> m_window;
    std::vector<float> m_scratch;    // size + 2 floats: the FFT runs in place
    std::vector<float> m_magnitudes; // size / 2 + 1
    CSpectrumCurves m_curves;
    WindowHandle m_frame = 0;
    bool m_visible = false;
    int64_t m_lastPosition = -1;
};

} // namespace tw
