// The two ways of filling the intensity bitmaps of CSpectrogramVisualizer.
#include "core/CursorHold.h"
#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/ReadCursor.h"
#include "display/DrawContext.h"
#include "display/LevelIndex.h"
#include "display/TimeFrequencyVisualizer.h"
#include "display/WaveletDot.h"

#include <algorithm>
#include <cmath>

namespace tw {

void CSpectrogramVisualizer::Deinterleave(const float* interleaved, int frames, int channels, int channel,
                                          float* dest) const {
    if (!m_merge || channels == 1) {
        for (int i = 0; i < frames; ++i)
            dest[i] = interleaved[static_cast<size_t>(i) * channels + channel];
        return;
    }
    const float scale = 1.0f / static_cast<float>(channels);
    for (int i = 0; i < frames; ++i) {
        const float* frame = interleaved + static_cast<size_t>(i) * channels;
        float sum = 0.0f;
        for (int c = 0; c < channels; ++c)
            sum += frame[c];
        dest[i] = sum * scale;
    }
}

void CSpectrogramVisualizer::ComputeSpectrogram(const CSection& section, int channels) {
    const int frameChannels = m_media->GetFrameSize() / static_cast<int>(sizeof(float));
    if (frameChannels < channels)
        return;
    const int n = m_fftSize;
    const int bins = n / 2 + 1;
    const int lanes = m_merge ? 1 : channels;
    const float hop = static_cast<float>(section.SectionLength()) / static_cast<float>(m_imageWidth);

    CMediaData block(n, m_media->GetFrameSize());
    m_channelBuffer.assign(static_cast<size_t>(n) + 2, 0.0f);
    m_magnitudes.assign(static_cast<size_t>(bins), 0.0f);
    const int rows = std::min(bins, m_imageHeight);
    m_indexes.assign(static_cast<size_t>(rows), 0);
    const float slope = LevelSlope(20.0f), offset = LevelOffset();
    CursorHold cursor(*m_media);

    for (int x = 0; x < m_imageWidth; ++x) {
        m_media->Seek(*cursor, section.m_start + static_cast<int64_t>(static_cast<float>(x) * hop));
        m_media->ReadSamples(*cursor, block);
        for (int c = 0; c < lanes; ++c) {
            float* buffer = m_channelBuffer.data();
            Deinterleave(block.GetFloats(), n, frameChannels, c, buffer);
            m_dsp.Multiply(m_window.data(), buffer, n);
            m_dsp.FFTForward(buffer);
            m_dsp.Magnitude(buffer, m_magnitudes.data(), bins);
            m_dsp.MulConstant(m_gain, m_magnitudes.data(), bins);
            LevelIndexes(m_magnitudes.data(), rows, slope, offset, m_indexes.data());

            // Row 0 is the lowest frequency and lies at the bottom: scan line height - 1 - k.
            QImage& image = m_images[static_cast<size_t>(c)];
            const qsizetype stride = image.bytesPerLine();
            uchar* pixel = image.bits() + static_cast<qsizetype>(m_imageHeight - 1) * stride + x;
            for (int k = 0; k < rows; ++k, pixel -= stride)
                *pixel = m_indexes[static_cast<size_t>(k)];
        }
    }
}

void CSpectrogramVisualizer::PrepareWavelet(int64_t rate) {
    const int length = WaveletLength(rate);
    if (rate == m_waveletRate && m_waveletRows == m_imageHeight && m_waveletLength == length)
        return;
    m_waveletRate = rate;
    m_waveletRows = m_imageHeight;
    m_waveletLength = length;

    const double f0 = 220.0 / static_cast<double>(rate);
    std::vector<float> re(static_cast<size_t>(length)), im(static_cast<size_t>(length));
    double norm = 0.0;
    for (int i = 0; i < length; ++i) {
        const double n = static_cast<double>(i - length / 2);
        const double t = n * f0 / 3.0;
        const double g = std::exp(-(t * t));
        const double phase = 6.2831855 * f0 * n;
        re[static_cast<size_t>(i)] = static_cast<float>(std::cos(phase) * g);
        im[static_cast<size_t>(i)] = static_cast<float>(std::sin(phase) * g);
        norm += g * g;
    }
    m_waveletNorm = norm;

    // Row r is the wavelet squeezed by scale = ratio^r: it spans int(N * scale) samples and its
    // value at sample i is the mother's at int(i / scale). Laying the squeezed copies out once
    // turns every row's correlation into a plain dot product over contiguous floats.
    const double ratio = std::pow(220.0 / WaveletTop(rate), 1.0 / m_imageHeight);
    m_rowOffsets.assign(static_cast<size_t>(m_imageHeight), 0);
    m_rowLengths.assign(static_cast<size_t>(m_imageHeight), 0);
    size_t total = 0;
    double scale = 1.0;
    for (int r = 0; r < m_imageHeight; ++r, scale *= ratio) {
        m_rowOffsets[static_cast<size_t>(r)] = total;
        m_rowLengths[static_cast<size_t>(r)] = static_cast<int>(length * scale);
        total += static_cast<size_t>(m_rowLengths[static_cast<size_t>(r)]);
    }
    m_stretchedRe.clear();
    m_stretchedIm.clear();
    m_stretchedRe.reserve(total);
    m_stretchedIm.reserve(total);
    scale = 1.0;
    for (int r = 0; r < m_imageHeight; ++r) {
        const int count = m_rowLengths[static_cast<size_t>(r)];
        for (int i = 0; i < count; ++i) {
            const int source = std::min(static_cast<int>(i / scale), length - 1);
            m_stretchedRe.push_back(re[static_cast<size_t>(source)]);
            m_stretchedIm.push_back(im[static_cast<size_t>(source)]);
        }
        scale *= ratio;
    }
}

void CSpectrogramVisualizer::ComputeWavelet(const CSection& section, int channels) {
    const int frameChannels = m_media->GetFrameSize() / static_cast<int>(sizeof(float));
    const int64_t rate = m_format.nSamplesPerSec;
    if (frameChannels < channels || rate <= 0)
        return;
    PrepareWavelet(rate);
    const int n = m_waveletLength;
    if (n <= 0)
        return;
    const int lanes = m_merge ? 1 : channels;
    const int64_t length = section.SectionLength();
    const float gainOverNorm = static_cast<float>(m_gain / m_waveletNorm);

    CMediaData block(n, m_media->GetFrameSize());
    m_channelBuffer.assign(static_cast<size_t>(n), 0.0f);
    m_magnitudes.assign(static_cast<size_t>(m_imageHeight), 0.0f);
    m_indexes.assign(static_cast<size_t>(m_imageHeight), 0);
    const float slope = LevelSlope(10.0f), levelOffset = LevelOffset();
    CursorHold cursor(*m_media);

    for (int x = 0; x < m_imageWidth; ++x) {
        m_media->Seek(*cursor, section.m_start + length * x / m_imageWidth);
        m_media->ReadSamples(*cursor, block);
        for (int c = 0; c < lanes; ++c) {
            float* samples = m_channelBuffer.data();
            Deinterleave(block.GetFloats(), n, frameChannels, c, samples);
            // The level of row r is (a^2 + b^2) * gain / norm, on a scale of 10 dB per decade.
            for (int r = 0; r < m_imageHeight; ++r) {
                const size_t offset = m_rowOffsets[static_cast<size_t>(r)];
                float a = 0.0f, b = 0.0f;
                WaveletDot(m_stretchedRe.data() + offset, m_stretchedIm.data() + offset, samples,
                           m_rowLengths[static_cast<size_t>(r)], &a, &b);
                m_magnitudes[static_cast<size_t>(r)] = (a * a + b * b) * gainOverNorm;
            }
            LevelIndexes(m_magnitudes.data(), m_imageHeight, slope, levelOffset, m_indexes.data());
            QImage& image = m_images[static_cast<size_t>(c)];
            const qsizetype stride = image.bytesPerLine();
            uchar* pixel = image.bits() + static_cast<qsizetype>(m_imageHeight - 1) * stride + x;
            for (int r = 0; r < m_imageHeight; ++r, pixel -= stride)
                *pixel = m_indexes[static_cast<size_t>(r)];
        }
    }
}

} // namespace tw
