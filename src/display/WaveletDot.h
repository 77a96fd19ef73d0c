// The inner loop of the wavelet plot: one run of samples against the real and the imaginary part
// of a stretched wavelet at once.
#pragma once

namespace tw {

// *re = sum re[i] * samples[i], *im = sum im[i] * samples[i] over i < n. Uses AVX2 with FMA when
// the processor has them, plain loops otherwise; the two differ only in the order of the sums.
void WaveletDot(const float* re, const float* im, const float* samples, int n, float* reSum, float* imSum);

// The plain loops, always; for comparison and for processors without AVX2.
void WaveletDotScalar(const float* re, const float* im, const float* samples, int n, float* reSum,
                      float* imSum);

} // namespace tw
