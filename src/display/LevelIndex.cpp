#include "display/LevelIndex.h"

#include <bit>
#include <cfloat>
#include <cmath>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define TW_LEVEL_X86 1
#endif

namespace tw {

namespace {

// log2 of a positive normal float: the exponent, plus the mantissa's logarithm through
// 2 atanh(s) with s = (m - 1) / (m + 1), m brought into [sqrt(1/2), sqrt(2)) so that |s| < 0.172
// and four odd terms of the series leave an error under 2e-8.
constexpr float kSqrt2 = 1.41421356f;
constexpr float kLog2E = 1.44269504f;
constexpr float kC1 = 2.0f, kC3 = 2.0f / 3.0f, kC5 = 2.0f / 5.0f, kC7 = 2.0f / 7.0f;

inline float Log2(float x) {
    const uint32_t bits = std::bit_cast<uint32_t>(x);
    float exponent = static_cast<float>(static_cast<int>(bits >> 23) - 127);
    float m = std::bit_cast<float>((bits & 0x007FFFFFu) | 0x3F800000u);
    if (m > kSqrt2) {
        m *= 0.5f;
        exponent += 1.0f;
    }
    const float s = (m - 1.0f) / (m + 1.0f);
    const float s2 = s * s;
    return exponent + s * (kC1 + s2 * (kC3 + s2 * (kC5 + s2 * kC7))) * kLog2E;
}

inline uint8_t Index(float v, float slope, float offset) {
    if (!(v >= FLT_MIN)) // NaN too
        return 0;
    const float level = slope * Log2(v) + offset;
    if (!(level > 0.0f))
        return 0;
    return level >= 255.0f ? 255 : static_cast<uint8_t>(level);
}

void LevelIndexesScalar(const float* x, int n, float slope, float offset, uint8_t* index) {
    for (int i = 0; i < n; ++i)
        index[i] = Index(x[i], slope, offset);
}

#ifdef TW_LEVEL_X86

// The same eight at a time. Unusable values are swapped for 1.0 before the logarithm and their
// level forced to 0 after it; the clamp to [0, 255] then leaves them there.
__attribute__((target("avx2,fma"))) void LevelIndexesAvx2(const float* x, int n, float slope, float offset,
                                                          uint8_t* index) {
    const __m256 minNormal = _mm256_set1_ps(FLT_MIN);
    const __m256 one = _mm256_set1_ps(1.0f);
    const __m256 sqrt2 = _mm256_set1_ps(kSqrt2);
    const __m256 half = _mm256_set1_ps(0.5f);
    const __m256 zero = _mm256_setzero_ps();
    const __m256 top = _mm256_set1_ps(255.0f);
    const __m256 vSlope = _mm256_set1_ps(slope);
    const __m256 vOffset = _mm256_set1_ps(offset);
    const __m256i mantissa = _mm256_set1_epi32(0x007FFFFF);
    const __m256i oneBits = _mm256_set1_epi32(0x3F800000);
    const __m256i bias = _mm256_set1_epi32(127);
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256 v = _mm256_loadu_ps(x + i);
        const __m256 usable = _mm256_cmp_ps(v, minNormal, _CMP_GE_OQ);
        const __m256i bits = _mm256_castps_si256(_mm256_blendv_ps(one, v, usable));
        __m256 exponent = _mm256_cvtepi32_ps(_mm256_sub_epi32(_mm256_srli_epi32(bits, 23), bias));
        __m256 m = _mm256_castsi256_ps(_mm256_or_si256(_mm256_and_si256(bits, mantissa), oneBits));
        const __m256 high = _mm256_cmp_ps(m, sqrt2, _CMP_GT_OQ);
        m = _mm256_blendv_ps(m, _mm256_mul_ps(m, half), high);
        exponent = _mm256_add_ps(exponent, _mm256_and_ps(high, one));
        const __m256 s = _mm256_div_ps(_mm256_sub_ps(m, one), _mm256_add_ps(m, one));
        const __m256 s2 = _mm256_mul_ps(s, s);
        __m256 p = _mm256_fmadd_ps(s2, _mm256_set1_ps(kC7), _mm256_set1_ps(kC5));
        p = _mm256_fmadd_ps(s2, p, _mm256_set1_ps(kC3));
        p = _mm256_fmadd_ps(s2, p, _mm256_set1_ps(kC1));
        const __m256 log2 = _mm256_fmadd_ps(_mm256_mul_ps(s, p), _mm256_set1_ps(kLog2E), exponent);
        __m256 level = _mm256_and_ps(_mm256_fmadd_ps(vSlope, log2, vOffset), usable);
        level = _mm256_min_ps(_mm256_max_ps(level, zero), top);
        const __m256i ints = _mm256_cvttps_epi32(level);
        // 32-bit lanes to bytes: pack to 16 bits within lanes, then to 8, then gather the two halves.
        const __m256i words = _mm256_packus_epi32(ints, ints);
        const __m256i bytes = _mm256_packus_epi16(words, words);
        const uint32_t low = static_cast<uint32_t>(_mm256_extract_epi32(bytes, 0));
        const uint32_t highHalf = static_cast<uint32_t>(_mm256_extract_epi32(bytes, 4));
        const uint64_t packed = low | (static_cast<uint64_t>(highHalf) << 32);
        __builtin_memcpy(index + i, &packed, 8);
    }
    LevelIndexesScalar(x + i, n - i, slope, offset, index + i);
}

using IndexFunction = void (*)(const float*, int, float, float, uint8_t*);

IndexFunction PickIndexes() {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        return LevelIndexesAvx2;
    return LevelIndexesScalar;
}

#endif

} // namespace

void LevelIndexes(const float* x, int n, float slope, float offset, uint8_t* index) {
#ifdef TW_LEVEL_X86
    static const IndexFunction pick = PickIndexes();
    pick(x, n, slope, offset, index);
#else
    LevelIndexesScalar(x, n, slope, offset, index);
#endif
}

float LevelSlope(float decibelsPerDecade) {
    return decibelsPerDecade * 0.30102999566f * 255.0f / 70.0f;
}

float LevelOffset() {
    return 60.0f * 255.0f / 70.0f;
}

} // namespace tw
