#include "display/WaveletDot.h"
#include "display/DrawContext.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define TW_WAVELET_X86 1
#endif

namespace tw {

void WaveletDotScalar(const float* re, const float* im, const float* samples, int n, float* reSum,
                      float* imSum) {
    // Four partial sums each break the chain of dependent additions.
    float a[4] = {}, b[4] = {};
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        for (int k = 0; k < 4; ++k) {
            a[k] += re[i + k] * samples[i + k];
            b[k] += im[i + k] * samples[i + k];
        }
    }
    for (; i < n; ++i) {
        a[0] += re[i] * samples[i];
        b[0] += im[i] * samples[i];
    }
    *reSum = (a[0] + a[1]) + (a[2] + a[3]);
    *imSum = (b[0] + b[1]) + (b[2] + b[3]);
}

#ifdef TW_WAVELET_X86

namespace {

__attribute__((target("avx2,fma"))) float HorizontalSum(__m256 v) {
    const __m128 s = _mm_add_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
    const __m128 t = _mm_add_ps(s, _mm_movehl_ps(s, s));
    return _mm_cvtss_f32(_mm_add_ss(t, _mm_shuffle_ps(t, t, 1)));
}

__attribute__((target("avx2,fma"))) void
WaveletDotAvx2(const float* re, const float* im, const float* samples, int n, float* reSum, float* imSum) {
    // Two accumulators per sum keep two FMAs in flight while each waits for its latency.
    __m256 a0 = _mm256_setzero_ps(), a1 = _mm256_setzero_ps();
    __m256 b0 = _mm256_setzero_ps(), b1 = _mm256_setzero_ps();
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256 s0 = _mm256_loadu_ps(samples + i);
        const __m256 s1 = _mm256_loadu_ps(samples + i + 8);
        a0 = _mm256_fmadd_ps(_mm256_loadu_ps(re + i), s0, a0);
        b0 = _mm256_fmadd_ps(_mm256_loadu_ps(im + i), s0, b0);
        a1 = _mm256_fmadd_ps(_mm256_loadu_ps(re + i + 8), s1, a1);
        b1 = _mm256_fmadd_ps(_mm256_loadu_ps(im + i + 8), s1, b1);
    }
    if (i + 8 <= n) {
        const __m256 s0 = _mm256_loadu_ps(samples + i);
        a0 = _mm256_fmadd_ps(_mm256_loadu_ps(re + i), s0, a0);
        b0 = _mm256_fmadd_ps(_mm256_loadu_ps(im + i), s0, b0);
        i += 8;
    }
    float a = HorizontalSum(_mm256_add_ps(a0, a1));
    float b = HorizontalSum(_mm256_add_ps(b0, b1));
    for (; i < n; ++i) {
        a += re[i] * samples[i];
        b += im[i] * samples[i];
    }
    *reSum = a;
    *imSum = b;
}

using DotFunction = void (*)(const float*, const float*, const float*, int, float*, float*);

DotFunction PickDot() {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        return WaveletDotAvx2;
    return WaveletDotScalar;
}

} // namespace

void WaveletDot(const float* re, const float* im, const float* samples, int n, float* reSum, float* imSum) {
    static const DotFunction dot = PickDot();
    dot(re, im, samples, n, reSum, imSum);
}

#else

void WaveletDot(const float* re, const float* im, const float* samples, int n, float* reSum, float* imSum) {
    WaveletDotScalar(re, im, samples, n, reSum, imSum);
}

#endif

} // namespace tw
