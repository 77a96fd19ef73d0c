// The signal-processing toolbox of the analysers and the spectrogram: a real FFT over FFTW in the
// packed CCS layout, the power-scaled Kaiser window, FIR and IIR filters with their state, and
// element-wise vector operations.
//
// Contract of the FFT: for N = InitFFT's size rounded down to a power of two, FFTForward takes N
// real samples in a buffer of N + 2 floats and leaves, in place, re(0), 0, re(1), im(1), ...,
// re(N/2), 0 — unscaled. FFTInverse takes that layout back to N reals divided by N, so that a
// forward and an inverse give the input again.
//
// An object belongs to one thread (its filters keep state); a user of the FFT makes its own object.
// Plans are shared process-wide and made under FFTW's planner lock. Counts are elements; complex
// vectors are interleaved re, im pairs and their counts are in complex elements.
#pragma once

#include <cstdint>
#include <vector>

namespace tw {

struct FftwRealPlans;

class CDspWrapper {
public:
    CDspWrapper() = default;
    virtual ~CDspWrapper();
    CDspWrapper(const CDspWrapper&) = delete;
    CDspWrapper& operator=(const CDspWrapper&) = delete;

    // Replaces an earlier size. The order is the number of halvings of `size` down to 1, so a size
    // that is no power of two rounds down (and anything under 2 gives 1). Always true.
    bool InitFFT(int size);
    int GetFFTSize() const; // N, or 0 before InitFFT
    // In place over N + 2 floats; nothing happens before InitFFT.
    void FFTForward(float* inOut);
    void FFTInverse(float* inOut);

    // Fills `size` floats with 1 / sqrt(size), then multiplies by the Kaiser window whose shape
    // parameter is `alpha` per half-length: w(n) = I0(alpha * sqrt(h^2 - (n - h)^2)) / I0(alpha * h)
    // with h = (size - 1) / 2. The window thus comes pre-scaled for a power-preserving transform.
    void Window(float* dest, float alpha, int size);

    void Multiply(const float* src, float* dest, int n);         // dest[i] *= src[i]
    void Magnitude(const float* complexSrc, float* dest, int n); // |src[i]|
    // The same over separate real and imaginary arrays. A CCS spectrum of N points is N / 2 + 1
    // interleaved bins, so the first form takes it as it stands.
    void Magnitude(const float* re, const float* im, float* dest, int n);
    void Add(const float* src, float* dest, int n);        // dest[i] += src[i]
    void AddComplex(const float* src, float* dest, int n); // complex dest[i] += src[i]
    void MulConstant(float value, float* dest, int n);     // dest[i] *= value
    void MulConstantComplex(float re, float im, float* dest, int n);
    void MulComplex(const float* a, const float* b, float* dest, int n); // dest[i] = a[i] * b[i]
    void MulComplexInPlace(const float* src, float* dest, int n);        // dest[i] *= src[i]

    // Direct-form FIR: y[k] = sum taps[j] * x[k - j]; the delay line starts at zero and carries
    // over from call to call until the next InitFIR. False for no taps.
    bool InitFIR(const float* taps, int count);
    void FIR(const float* src, float* dest, int n);
    void FIRInPlace(float* data, int n);

    // IIR of `order` from 2 * (order + 1) taps: b0..b(order), then a0..a(order), normalised by a0;
    // the state starts at zero and carries over. False for a negative order or a0 of 0.
    bool InitIIR(const float* taps, int order);
    void IIR(const float* src, float* dest, int n);
    void IIRInPlace(float* data, int n);

    // Integer conversions with the scaling of the integer-scaled family: ToInt16 is
    // round-to-nearest(v * 2^16) saturated, ToInt8 round-to-nearest(v * 2^8) saturated, FromInt16
    // v * 2^-16, so that FromInt16 and ToInt16 are inverses. FromUInt8 is (v - 128) / 127.
    void ToInt16(const float* src, int16_t* dest, int n);
    void ToInt8(const float* src, int8_t* dest, int n);
    void FromInt16(const int16_t* src, float* dest, int n);
    void FromUInt8(const uint8_t* src, float* dest, int n);

private:
    const FftwRealPlans* m_fft = nullptr; // shared, not owned
    std::vector<float> m_firTaps;
    std::vector<float> m_firHistory; // last taps - 1 inputs, oldest first
    std::vector<float> m_firWork;
    std::vector<double> m_iirB, m_iirA; // normalised by a0
    std::vector<double> m_iirState;     // transposed direct form II
};

// The modified Bessel function of the first kind, order 0, by its power series.
double BesselI0(double x);
// e^-|x| I0(x), finite for every x.
double BesselI0Scaled(double x);

} // namespace tw
