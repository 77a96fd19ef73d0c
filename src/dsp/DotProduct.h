// The inner loop of the resampler: the sum of products of two float runs (a history stretch and
// a phase row of the filter table). One portable version, unrolled by four, and one for CPUs with
// AVX2 and FMA, picked once at run time; both add in partial sums, so they agree to float rounding.
#pragma once

#include <cstdint>

namespace tw {

using DotProductFunction = float (*)(const float* a, const float* b, int32_t n);

float DotProductPortable(const float* a, const float* b, int32_t n);
// Only callable where HasAvx2Fma() holds.
float DotProductAvx2(const float* a, const float* b, int32_t n);
bool HasAvx2Fma();
// The fastest version this CPU runs.
DotProductFunction BestDotProduct();

// Two runs against the same `b` (two channels through one phase row) in one pass, which loads the
// row once: `out[0]` and `out[1]` are what the single version gives for `a0` and `a1`, in the same
// partial sums (the compiler may fuse the tail's products differently, a rounding apart).
using DotProductPairFunction = void (*)(const float* a0, const float* a1, const float* b, int32_t n,
                                        float* out);

void DotProductPairPortable(const float* a0, const float* a1, const float* b, int32_t n, float* out);
void DotProductPairAvx2(const float* a0, const float* a1, const float* b, int32_t n, float* out);
DotProductPairFunction BestDotProductPair();

} // namespace tw
