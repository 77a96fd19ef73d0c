#include "dsp/DotProduct.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define TW_HAVE_X86 1
#endif

namespace tw {

float DotProductPortable(const float* a, const float* b, int32_t n) {
    float s0 = 0.0f, s1 = 0.0f, s2 = 0.0f, s3 = 0.0f;
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        s0 += a[i] * b[i];
        s1 += a[i + 1] * b[i + 1];
        s2 += a[i + 2] * b[i + 2];
        s3 += a[i + 3] * b[i + 3];
    }
    for (; i < n; ++i)
        s0 += a[i] * b[i];
    return (s0 + s1) + (s2 + s3);
}

void DotProductPairPortable(const float* a0, const float* a1, const float* b, int32_t n, float* out) {
    out[0] = DotProductPortable(a0, b, n);
    out[1] = DotProductPortable(a1, b, n);
}

#ifdef TW_HAVE_X86

namespace {

__attribute__((target("avx2,fma"))) inline float HorizontalSum(__m256 acc0, __m256 acc1) {
    const __m256 acc = _mm256_add_ps(acc0, acc1);
    __m128 sum = _mm_add_ps(_mm256_castps256_ps128(acc), _mm256_extractf128_ps(acc, 1));
    sum = _mm_add_ps(sum, _mm_movehl_ps(sum, sum));
    sum = _mm_add_ss(sum, _mm_shuffle_ps(sum, sum, 1));
    return _mm_cvtss_f32(sum);
}

} // namespace

__attribute__((target("avx2,fma"))) void DotProductPairAvx2(const float* a0, const float* a1, const float* b,
                                                            int32_t n, float* out) {
    // The same partial sums, in the same order, as DotProductAvx2 keeps for each run.
    __m256 x0 = _mm256_setzero_ps(), x1 = _mm256_setzero_ps();
    __m256 y0 = _mm256_setzero_ps(), y1 = _mm256_setzero_ps();
    int32_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256 b0 = _mm256_loadu_ps(b + i);
        const __m256 b1 = _mm256_loadu_ps(b + i + 8);
        x0 = _mm256_fmadd_ps(_mm256_loadu_ps(a0 + i), b0, x0);
        x1 = _mm256_fmadd_ps(_mm256_loadu_ps(a0 + i + 8), b1, x1);
        y0 = _mm256_fmadd_ps(_mm256_loadu_ps(a1 + i), b0, y0);
        y1 = _mm256_fmadd_ps(_mm256_loadu_ps(a1 + i + 8), b1, y1);
    }
    if (i + 8 <= n) {
        const __m256 b0 = _mm256_loadu_ps(b + i);
        x0 = _mm256_fmadd_ps(_mm256_loadu_ps(a0 + i), b0, x0);
        y0 = _mm256_fmadd_ps(_mm256_loadu_ps(a1 + i), b0, y0);
        i += 8;
    }
    float t0 = HorizontalSum(x0, x1);
    float t1 = HorizontalSum(y0, y1);
    for (; i < n; ++i) {
        t0 += a0[i] * b[i];
        t1 += a1[i] * b[i];
    }
    out[0] = t0;
    out[1] = t1;
}

__attribute__((target("avx2,fma"))) float DotProductAvx2(const float* a, const float* b, int32_t n) {
    // Two accumulators hide the latency of the fused multiply-add.
    __m256 acc0 = _mm256_setzero_ps();
    __m256 acc1 = _mm256_setzero_ps();
    int32_t i = 0;
    for (; i + 16 <= n; i += 16) {
        acc0 = _mm256_fmadd_ps(_mm256_loadu_ps(a + i), _mm256_loadu_ps(b + i), acc0);
        acc1 = _mm256_fmadd_ps(_mm256_loadu_ps(a + i + 8), _mm256_loadu_ps(b + i + 8), acc1);
    }
    if (i + 8 <= n) {
        acc0 = _mm256_fmadd_ps(_mm256_loadu_ps(a + i), _mm256_loadu_ps(b + i), acc0);
        i += 8;
    }
    float total = HorizontalSum(acc0, acc1);
    for (; i < n; ++i)
        total += a[i] * b[i];
    return total;
}

bool HasAvx2Fma() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

#else

float DotProductAvx2(const float* a, const float* b, int32_t n) {
    return DotProductPortable(a, b, n);
}
void DotProductPairAvx2(const float* a0, const float* a1, const float* b, int32_t n, float* out) {
    DotProductPairPortable(a0, a1, b, n, out);
}
bool HasAvx2Fma() {
    return false;
}

#endif

DotProductFunction BestDotProduct() {
    static const DotProductFunction best = HasAvx2Fma() ? &DotProductAvx2 : &DotProductPortable;
    return best;
}

DotProductPairFunction BestDotProductPair() {
    static const DotProductPairFunction best = HasAvx2Fma() ? &DotProductPairAvx2 : &DotProductPairPortable;
    return best;
}

} // namespace tw
