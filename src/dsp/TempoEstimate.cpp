#include "dsp/TempoEstimate.h"

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/ReadCursor.h"
#include "dsp/DspWrapper.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace tw {

namespace {

constexpr int64_t kDecimation = 16;
// 16 x 2 pi, as the system has always written it: the Hann window of the decimated envelope.
constexpr double kWindowConstant = 100.53088;
constexpr int64_t kBandLow = 5000;
constexpr int64_t kBandHigh = 16000;

} // namespace

float EstimateTempo(CEditedMedia& media, int64_t position, bool wholeBeats) {
    const WAVEFORMATEX* format = media.GetFormat();
    if (format == nullptr || format->nSamplesPerSec == 0 || format->nChannels == 0)
        return 0.0f;
    const int64_t rate = format->nSamplesPerSec;
    const int64_t channels = format->nChannels;
    int64_t n = 1;
    while (n < rate)
        n *= 2;
    const int64_t length = media.GetLength();
    if (length < n)
        return 0.0f;

    // One window of N frames from the position, or the last N frames when it would run out.
    const int64_t start = position + n > length ? length - n : std::max<int64_t>(position, 0);
    CMediaData block(n, static_cast<int32_t>(channels * 4));
    ReadCursor* cursor = media.MakeCursor();
    media.Seek(*cursor, start);
    media.ReadSamples(*cursor, block);
    media.FreeCursor(cursor);

    std::vector<float> x(static_cast<size_t>(n + 2), 0.0f);
    const float* samples = block.GetFloats();
    for (int64_t i = 0; i < n; ++i)
        x[static_cast<size_t>(i)] = samples[i * channels];

    // Shift the 5-16 kHz band down to base band: its complex bins move to the bottom of the
    // spectrum, everything above them is cleared.
    CDspWrapper dsp;
    dsp.InitFFT(static_cast<int>(n));
    dsp.FFTForward(x.data());
    const int64_t lo = std::min(n * kBandLow / rate, n / 2);
    const int64_t hi = std::min(n * kBandHigh / rate, n / 2);
    for (int64_t k = lo; k < hi; ++k) {
        x[static_cast<size_t>(2 * (k - lo))] = x[static_cast<size_t>(2 * k)];
        x[static_cast<size_t>(2 * (k - lo) + 1)] = x[static_cast<size_t>(2 * k + 1)];
    }
    for (int64_t k = std::max<int64_t>(hi - lo, 0); k <= n / 2; ++k) {
        x[static_cast<size_t>(2 * k)] = 0.0f;
        x[static_cast<size_t>(2 * k + 1)] = 0.0f;
    }
    dsp.FFTInverse(x.data());

    // A Hann-windowed envelope at a sixteenth of the rate.
    const int64_t m = n / kDecimation;
    std::vector<float> y(static_cast<size_t>(m + 2), 0.0f);
    for (int64_t i = 0; i < m; ++i) {
        const double w =
            0.5 - 0.5 * std::cos(kWindowConstant * static_cast<double>(i) / static_cast<double>(n));
        double sum = 0.0;
        for (int64_t k = 0; k < kDecimation; ++k)
            sum += w * x[static_cast<size_t>(kDecimation * i + k)];
        y[static_cast<size_t>(i)] = static_cast<float>(std::fabs(sum));
    }

    // Its autocorrelation: the power spectrum transformed back.
    dsp.InitFFT(static_cast<int>(m));
    dsp.FFTForward(y.data());
    for (int64_t k = 0; k <= m / 2; ++k) {
        const float re = y[static_cast<size_t>(2 * k)];
        const float im = y[static_cast<size_t>(2 * k + 1)];
        y[static_cast<size_t>(2 * k)] = re * re + im * im;
        y[static_cast<size_t>(2 * k + 1)] = 0.0f;
    }
    dsp.FFTInverse(y.data());

    const int64_t minLag = std::max<int64_t>(rate / 48, 1);
    const int64_t maxLag = n / 32 - 1;
    double tempo = 0.0;
    if (!wholeBeats) {
        int64_t best = 0;
        for (int64_t lag = minLag; lag <= maxLag; ++lag) {
            if (best == 0 || y[static_cast<size_t>(lag)] >= y[static_cast<size_t>(best)])
                best = lag;
        }
        if (best > 0)
            tempo = 60.0 * static_cast<double>(rate) / static_cast<double>(kDecimation * best);
    } else {
        // Only periods that fit a whole number k of beats into the document: lag = (length / 16) / k.
        const int64_t span = length / kDecimation;
        int64_t bestBeats = 0;
        float bestValue = 0.0f;
        for (int64_t k = std::max<int64_t>(span / (maxLag + 1), 1);; ++k) {
            const int64_t lag = span / k;
            if (lag < minLag)
                break;
            if (lag > maxLag)
                continue;
            if (bestBeats == 0 || y[static_cast<size_t>(lag)] > bestValue) {
                bestBeats = k;
                bestValue = y[static_cast<size_t>(lag)];
            }
        }
        if (bestBeats > 0)
            tempo = 60.0 * static_cast<double>(bestBeats) * static_cast<double>(rate) /
                    static_cast<double>(length);
    }
    if (!(tempo > 0.0) || !std::isfinite(tempo))
        return 0.0f;
    while (tempo < 60.0)
        tempo *= 2.0;
    return static_cast<float>(tempo);
}

} // namespace tw
