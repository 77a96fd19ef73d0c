#include "dsp/FrequencyAnalyzer.h"

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/ReadCursor.h"

#include <algorithm>
#include <cmath>

namespace tw {

CSpectAnalyzer::CSpectAnalyzer()
    : m_window(kFFTSize), m_scratch(kFFTSize + 2), m_magnitudes(kFFTSize / 2 + 1) {
    m_dsp.Window(m_window.data(), kWindowAlpha, m_size);
    m_dsp.InitFFT(m_size);
}

bool CSpectAnalyzer::ShowSpectrumAt(CEditedMedia& media, int64_t position) {
    if (!m_visible)
        return false;
    m_lastPosition = position;
    const WAVEFORMATEX* format = media.GetFormat();
    const int64_t length = media.GetLength();
    if (format == nullptr || format->nChannels == 0 || length < m_size)
        return false;
    // Near the end the block keeps its full size: the last frames, not a tail padded with silence.
    const int64_t start = std::clamp<int64_t>(position, 0, length - m_size);
    const int channels = format->nChannels;
    CMediaData block(m_size, media.GetFrameSize());
    ReadCursor* cursor = media.MakeCursor();
    media.Seek(*cursor, start);
    media.ReadSamples(*cursor, block);
    media.FreeCursor(cursor);
    AnalyseChannels(block.GetFloats(), m_size, channels, static_cast<int32_t>(format->nSamplesPerSec));
    Publish();
    return true;
}

bool CSpectAnalyzer::Analyse(const float* interleaved, int64_t frames, const WAVEFORMATEX& format) {
    if (!m_visible || interleaved == nullptr || format.nChannels == 0)
        return false;
    m_lastPosition = -1;
    AnalyseChannels(interleaved, frames, format.nChannels, static_cast<int32_t>(format.nSamplesPerSec));
    return true;
}

bool CSpectAnalyzer::Feed(const float* interleaved, int64_t frames, const WAVEFORMATEX& format) {
    if (!Analyse(interleaved, frames, format))
        return false;
    Publish();
    return true;
}

void CSpectAnalyzer::Publish() {
    if (m_visible && m_frame != 0)
        Presentation().SpectrumCurves(m_frame, m_curves);
}

void CSpectAnalyzer::AnalyseChannels(const float* interleaved, int64_t frames, int channels, int32_t rate) {
    const int64_t used = std::min<int64_t>(frames, m_size);
    m_curves.sampleRate = rate;
    m_curves.fftSize = m_size;
    // A mono block has one curve to show; the second would be a flat line of silence.
    m_curves.curves.resize(channels >= kCurves ? kCurves : 1);
    for (size_t c = 0; c < m_curves.curves.size(); ++c) {
        std::fill(m_scratch.begin(), m_scratch.end(), 0.0f);
        for (int64_t i = 0; i < used; ++i)
            m_scratch[static_cast<size_t>(i)] = interleaved[i * channels + static_cast<int64_t>(c)];
        Transform(m_curves.curves[c]);
    }
}

void CSpectAnalyzer::Transform(std::vector<float>& curve) {
    const int bins = m_size / 2 + 1;
    m_dsp.Multiply(m_window.data(), m_scratch.data(), m_size);
    m_dsp.FFTForward(m_scratch.data());
    m_dsp.Magnitude(m_scratch.data(), m_magnitudes.data(), bins);
    curve.resize(static_cast<size_t>(bins));
    for (int i = 0; i < bins; ++i) {
        const float m = m_magnitudes[static_cast<size_t>(i)];
        const double dB = m > 0.0f ? 20.0 * std::log10(static_cast<double>(m)) : -144.0;
        curve[static_cast<size_t>(i)] = static_cast<float>((dB + 100.0) / 100.0);
    }
}

} // namespace tw
