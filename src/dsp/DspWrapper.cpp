#include "dsp/DspWrapper.h"

#include "dsp/FftwPlanner.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tw {

CDspWrapper::~CDspWrapper() = default;

bool CDspWrapper::InitFFT(int size) {
    int order = 0;
    while (size > 1) {
        size >>= 1;
        ++order;
    }
    m_fft = &GetRealPlans(1 << order);
    return true;
}

int CDspWrapper::GetFFTSize() const {
    return m_fft ? m_fft->size : 0;
}

void CDspWrapper::FFTForward(float* inOut) {
    if (!m_fft || !m_fft->forward || !inOut)
        return;
    fftwf_execute_dft_r2c(m_fft->forward, inOut, reinterpret_cast<fftwf_complex*>(inOut));
    // FFTW leaves the imaginary parts of DC and Nyquist as computed zeros already; the layout
    // promises exact zeros, so they are written.
    inOut[1] = 0.0f;
    inOut[m_fft->size + 1] = 0.0f;
}

void CDspWrapper::FFTInverse(float* inOut) {
    if (!m_fft || !m_fft->inverse || !inOut)
        return;
    fftwf_execute_dft_c2r(m_fft->inverse, reinterpret_cast<fftwf_complex*>(inOut), inOut);
    MulConstant(1.0f / static_cast<float>(m_fft->size), inOut, m_fft->size);
}

double BesselI0(double x) {
    const double half = x * 0.5;
    double sum = 1.0;
    double term = 1.0;
    for (int k = 1; k < 2000; ++k) {
        term *= (half / k) * (half / k);
        sum += term;
        if (term < sum * 1e-17)
            break;
    }
    return sum;
}

double BesselI0Scaled(double x) {
    x = std::fabs(x);
    if (x < 50.0)
        return BesselI0(x) * std::exp(-x);
    // Asymptotic series: e^-x I0(x) = (1 + 1/(8x) + 9/(2!(8x)^2) + ...) / sqrt(2 pi x); at x >= 50
    // its terms fall below double precision long before they turn to grow.
    double sum = 1.0;
    double term = 1.0;
    for (int k = 1; k < 60; ++k) {
        term *= (2.0 * k - 1) * (2.0 * k - 1) / (k * 8.0 * x);
        sum += term;
        if (term < sum * 1e-17)
            break;
    }
    return sum / std::sqrt(2.0 * 3.14159265358979323846 * x);
}

void CDspWrapper::Window(float* dest, float alpha, int size) {
    if (!dest || size <= 0)
        return;
    const float scale = 1.0f / std::sqrt(static_cast<float>(size));
    std::fill(dest, dest + size, scale);
    // Long windows reach arguments whose I0 overflows a double (alpha 0.2 over 16384 points gives
    // about 1638), so the ratio is taken of scaled values with the exponents subtracted.
    const double a = std::fabs(static_cast<double>(alpha));
    const double h = (size - 1) * 0.5;
    const double normScaled = BesselI0Scaled(a * h);
    for (int i = 0; i < size; ++i) {
        const double d = i - h;
        const double x = a * std::sqrt(std::max(0.0, h * h - d * d));
        const double ratio = BesselI0Scaled(x) / normScaled * std::exp(x - a * h);
        dest[i] = static_cast<float>(dest[i] * ratio);
    }
}

void CDspWrapper::Multiply(const float* src, float* dest, int n) {
    for (int i = 0; i < n; ++i)
        dest[i] *= src[i];
}

void CDspWrapper::Magnitude(const float* complexSrc, float* dest, int n) {
    for (int i = 0; i < n; ++i) {
        const float re = complexSrc[2 * i];
        const float im = complexSrc[2 * i + 1];
        dest[i] = std::sqrt(re * re + im * im);
    }
}

void CDspWrapper::Magnitude(const float* re, const float* im, float* dest, int n) {
    for (int i = 0; i < n; ++i)
        dest[i] = std::sqrt(re[i] * re[i] + im[i] * im[i]);
}

void CDspWrapper::Add(const float* src, float* dest, int n) {
    for (int i = 0; i < n; ++i)
        dest[i] += src[i];
}

void CDspWrapper::AddComplex(const float* src, float* dest, int n) {
    Add(src, dest, 2 * n);
}

void CDspWrapper::MulConstant(float value, float* dest, int n) {
    for (int i = 0; i < n; ++i)
        dest[i] *= value;
}

void CDspWrapper::MulConstantComplex(float re, float im, float* dest, int n) {
    for (int i = 0; i < n; ++i) {
        const float a = dest[2 * i];
        const float b = dest[2 * i + 1];
        dest[2 * i] = a * re - b * im;
        dest[2 * i + 1] = a * im + b * re;
    }
}

void CDspWrapper::MulComplex(const float* a, const float* b, float* dest, int n) {
    for (int i = 0; i < n; ++i) {
        const float ar = a[2 * i], ai = a[2 * i + 1];
        const float br = b[2 * i], bi = b[2 * i + 1];
        dest[2 * i] = ar * br - ai * bi;
        dest[2 * i + 1] = ar * bi + ai * br;
    }
}

void CDspWrapper::MulComplexInPlace(const float* src, float* dest, int n) {
    MulComplex(src, dest, dest, n);
}

bool CDspWrapper::InitFIR(const float* taps, int count) {
    if (!taps || count <= 0)
        return false;
    m_firTaps.assign(taps, taps + count);
    m_firHistory.assign(static_cast<size_t>(count - 1), 0.0f);
    return true;
}

void CDspWrapper::FIR(const float* src, float* dest, int n) {
    if (m_firTaps.empty() || n <= 0)
        return;
    const size_t taps = m_firTaps.size();
    const size_t keep = taps - 1;
    // History then input in one run, so each output is one contiguous dot product and src may
    // alias dest.
    m_firWork.resize(keep + static_cast<size_t>(n));
    std::copy(m_firHistory.begin(), m_firHistory.end(), m_firWork.begin());
    std::memcpy(m_firWork.data() + keep, src, static_cast<size_t>(n) * sizeof(float));
    const float* work = m_firWork.data();
    const float* h = m_firTaps.data();
    for (int k = 0; k < n; ++k) {
        // x[k - j] lies at work[keep + k - j].
        const float* newest = work + keep + k;
        float acc = 0.0f;
        for (size_t j = 0; j < taps; ++j)
            acc += h[j] * newest[-static_cast<ptrdiff_t>(j)];
        dest[k] = acc;
    }
    std::copy(m_firWork.end() - static_cast<ptrdiff_t>(keep), m_firWork.end(), m_firHistory.begin());
}

void CDspWrapper::FIRInPlace(float* data, int n) {
    FIR(data, data, n);
}

bool CDspWrapper::InitIIR(const float* taps, int order) {
    if (!taps || order < 0 || taps[order + 1] == 0.0f)
        return false;
    const double a0 = taps[order + 1];
    m_iirB.resize(static_cast<size_t>(order) + 1);
    m_iirA.resize(static_cast<size_t>(order) + 1);
    for (int i = 0; i <= order; ++i) {
        m_iirB[i] = taps[i] / a0;
        m_iirA[i] = taps[order + 1 + i] / a0;
    }
    m_iirState.assign(static_cast<size_t>(order) + 1, 0.0);
    return true;
}

void CDspWrapper::IIR(const float* src, float* dest, int n) {
    if (m_iirB.empty())
        return;
    const size_t order = m_iirB.size() - 1;
    double* z = m_iirState.data();
    for (int k = 0; k < n; ++k) {
        const double x = src[k];
        const double y = m_iirB[0] * x + z[0];
        for (size_t i = 0; i + 1 <= order; ++i)
            z[i] = m_iirB[i + 1] * x - m_iirA[i + 1] * y + z[i + 1];
        dest[k] = static_cast<float>(y);
    }
}

void CDspWrapper::IIRInPlace(float* data, int n) {
    IIR(data, data, n);
}

namespace {
template <typename T> void ToScaledInt(const float* src, T* dest, int n, float scale, float low, float high) {
    for (int i = 0; i < n; ++i) {
        const float v = std::nearbyint(src[i] * scale);
        // NaN fails both comparisons and lands on zero.
        dest[i] = v >= low ? (v <= high ? static_cast<T>(v) : static_cast<T>(high))
                           : (v < low ? static_cast<T>(low) : T(0));
    }
}
} // namespace

void CDspWrapper::ToInt16(const float* src, int16_t* dest, int n) {
    ToScaledInt<int16_t>(src, dest, n, 65536.0f, -32768.0f, 32767.0f);
}

void CDspWrapper::ToInt8(const float* src, int8_t* dest, int n) {
    ToScaledInt<int8_t>(src, dest, n, 256.0f, -128.0f, 127.0f);
}

void CDspWrapper::FromInt16(const int16_t* src, float* dest, int n) {
    for (int i = 0; i < n; ++i)
        dest[i] = static_cast<float>(src[i]) * (1.0f / 65536.0f);
}

void CDspWrapper::FromUInt8(const uint8_t* src, float* dest, int n) {
    for (int i = 0; i < n; ++i)
        dest[i] = static_cast<float>((src[i] - 128) / 127.0);
}

} // namespace tw
