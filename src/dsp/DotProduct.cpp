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

#ifdef TW_HAVE_X86

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
    const __m256 acc = _mm256_add_ps(acc0, acc1);
    __m128 sum = _mm_add_ps(_mm256_castps256_ps128(acc), _mm256_extractf128_ps(acc, 1));
    sum = _mm_add_ps(sum, _mm_movehl_ps(sum, sum));
    sum = _mm_add_ss(sum, _mm_shuffle_ps(sum, sum, 1));
    float total = _mm_cvtss_f32(sum);
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
bool HasAvx2Fma() {
    return false;
}

#endif

DotProductFunction BestDotProduct() {
    static const DotProductFunction best = HasAvx2Fma() ? &DotProductAvx2 : &DotProductPortable;
    return best;
}

} // namespace tw
